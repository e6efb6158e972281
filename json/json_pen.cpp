#include "json/json_pen.h"

#include <string>

#include "base/utf8.h"

namespace klv {

void JsonPen::escaped(std::string_view text) {
    constexpr std::string_view kShort = "\"\\\b\f\n\r\t";
    constexpr std::string_view kLetters = "\"\\bfnrt";
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const std::string replaced =
        base::isUtf8(text) ? std::string() : base::replaceIllFormedUtf8(text);
    for (const char c : replaced.empty() ? text : std::string_view(replaced)) {
        if (const auto found = kShort.find(c); found != std::string_view::npos) {
            *at_++ = '\\';
            *at_++ = kLetters[found];
        } else if (static_cast<unsigned char>(c) < 0x20) {
            raw("\\u00");
            *at_++ = kDigits[static_cast<std::size_t>(c) >> 4];
            *at_++ = kDigits[static_cast<std::size_t>(c) & 15];
        } else {
            *at_++ = c;
        }
    }
}

}  // namespace klv
