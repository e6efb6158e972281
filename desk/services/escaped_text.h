// Texts as words of a line: a file of such lines can be read and mended with any editor.
#pragma once

#include <string>
#include <string_view>

namespace desk {

/// The text as one word: every byte that is not a printable ASCII character, and '%' and the blank,
/// is '%' and two hexadecimal digits. An empty text is a single '%', so that it is a word, too.
std::string escapeText(std::string_view text);

/// The text of such a word; false when it is none.
bool unescapeText(std::string_view word, std::string& text);

}  // namespace desk
