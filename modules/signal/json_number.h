// Numbers as JSON has them.
#pragma once

#include <string_view>

// Whether the text is exactly one JSON number, and not one too large for a double.
bool isFiniteJsonNumber(std::string_view text);
