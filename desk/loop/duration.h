// Lengths of time as people write them: "500ms", "2s", "1.5s", "1min".
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace desk {

using Milliseconds = std::chrono::milliseconds;

/// A number, with decimals or without, and one of the units ms, s and min; nothing for any other
/// text, for a negative length and for one of more than a day. Rounded down to milliseconds.
std::optional<Milliseconds> parseDuration(std::string_view text);

/// What to tell somebody whose text parseDuration() does not take.
std::string durationHelp(std::string_view text);

}  // namespace desk
