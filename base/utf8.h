// Making text from elsewhere fit for a browser.
#pragma once

#include <string>
#include <string_view>

// U+FFFD: what stands for bytes that cannot be shown.
inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

// Whether the bytes are well-formed UTF-8 (no overlong forms, no surrogates, nothing above
// U+10FFFF). Any thread.
bool isUtf8(std::string_view bytes);

// The same text with each ill-formed piece replaced by U+FFFD, one per maximal piece as browsers
// do it themselves. Any thread.
std::string replaceIllFormedUtf8(std::string_view bytes);
