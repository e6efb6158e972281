// What makes an older message superfluous once a newer one has come.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace krpbus {

/// For a message that carries a live figure, forwarded or not: a key that is equal for all figures
/// of the same signal, or of the same bus and channel, of the same sender. Nothing for every other
/// message and for bytes that are no message. `sender` is what the bus names as the sender.
std::optional<std::string> liveDataKey(std::string_view sender,
                                       std::span<const std::uint8_t> payload);

}  // namespace krpbus
