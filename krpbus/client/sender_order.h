// The order in which a sender's messages went out, where they come in by different subjects.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "krpbus/client/received.h"

namespace krpbus {

/// The header that tells who has sent a message and as which one: "<sender> <number>". A message
/// without one, which another one to the same subject and with the same reply subject precedes, has
/// followed that one: making a header costs a sender more than all the rest.
inline constexpr const char* kOrderHeader = "Krp-Order";

/// Counts what one connection sends. For one thread at a time.
class SendCounter {
  public:
    SendCounter();

    /// The header of the next message, null where it goes without: it follows one with the same two
    /// subjects. Valid until the next call.
    const char* next(std::string_view subject, std::string_view reply);
    /// The next message gets a header, since the last one may not have been sent.
    void beginAgain() { subject_.clear(); }

    /// More than the bytes that a header takes of what the server allows a message.
    static constexpr std::size_t kHeaderBytes = 96;

  private:
    std::array<char, 48> text_{};
    std::size_t senderLength_ = 0;
    std::uint64_t number_ = 0;
    std::string subject_;  // of the message before; empty where the next one gets a header
    std::string reply_;
};

/// Appends to `all` what one look at the bus has brought, in one list for each subject, and empties
/// the lists. The lists keep their own order, and what one sender has numbered under one reply
/// subject gets the order of its numbers, together with what follows it without one; what comes
/// first without one belongs before, since its number has come earlier. The rest is nobody's
/// business. Such an order exists, since the lists are parts of what came one behind the other;
/// numbers that allow of none are made up and do not count.
void mergeBySender(std::vector<std::vector<Received>>& lists, std::vector<Received>& all);

}  // namespace krpbus
