// Numbers as JSON has them.
#pragma once

#include <string_view>

namespace klv {

/// Whether the text is exactly one JSON number, and one that every reader takes: not too large for
/// a double, and not one that the JSON library refuses though it is small ("0e400").
bool isFiniteJsonNumber(std::string_view text);

}  // namespace klv
