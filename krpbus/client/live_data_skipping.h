// What happens to old values while a browser, and with it the bus thread, is too slow.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>

#include "krpbus/client/received.h"

namespace krpbus {

/// The messages that wait for the consumer, in the order of their arrival. While the consumer keeps
/// up every one is handed out. When the oldest that waits has waited for `skipAfter`, whether the
/// consumer stands still or is merely too slow, only the newest signal value per signal and the
/// newest figure per bus are kept, each in the place of the newest, until all that waits has been
/// taken; what is not live data stays complete and in order.
///
/// So a value that is handed out is not older than `skipAfter`, or it is the newest of its signal.
///
/// Not locked and without a clock of its own: times are milliseconds that the caller looks up.
class LiveDataSkipping {
  public:
    explicit LiveDataSkipping(std::chrono::milliseconds skipAfter)
        : skipAfter_(skipAfter.count()) {}

    /// Appends a message that has arrived now.
    void push(Received&& received, std::int64_t now);
    /// Takes the oldest message, or one without content when none waits.
    Received pop(std::int64_t now);

    /// How many messages wait.
    std::size_t count() const { return queue_.size() - tombstones_; }
    /// What they take in memory, roughly.
    std::size_t bytes() const { return bytes_; }
    /// How many values have been skipped, once all that waited has been taken; 0 until then, and
    /// when asked again.
    std::uint64_t takeSkipped();

    void clear();

  private:
    void skipWhenOld(std::int64_t now);
    void startSkipping();
    void rememberNewest(std::uint64_t position);
    void dropTombstones();

    const std::int64_t skipAfter_;

    /// An entry without a message is the former place of one that was replaced by a newer one.
    std::deque<Received> queue_;
    std::uint64_t firstPosition_ = 0;  // of queue_.front(), counted over the queue's life
    std::size_t tombstones_ = 0;
    std::size_t bytes_ = 0;

    bool skipping_ = false;
    std::uint64_t skipped_ = 0;
    std::unordered_map<std::string, std::uint64_t> newest_;  // live-data key to position
};

}  // namespace krpbus
