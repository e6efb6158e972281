#include "plugin/parse_error.h"

#include <array>
#include <cstddef>

namespace klv {

const char* parseErrorText(int code) {
    static constexpr std::array kTexts = {
        "No error.",
        "The document is empty.",
        "The document root must not follow by other values.",
        "Invalid value.",
        "Missing a name for object member.",
        "Missing a colon after a name of object member.",
        "Missing a comma or '}' after an object member.",
        "Missing a comma or ']' after an array element.",
        "Incorrect hex digit after \\u escape in string.",
        "The surrogate pair in string is invalid.",
        "Invalid escape character in string.",
        "Missing a closing quotation mark in string.",
        "Invalid encoding in string.",
        "Number too big to be stored in double.",
        "Miss fraction part in number.",
        "Miss exponent in number.",
        "Terminate parsing due to Handler error.",
        "Unspecific syntax error.",
    };
    static_assert(kTexts.size() == 18);
    const auto index = static_cast<std::size_t>(code);
    return code >= 0 && index < kTexts.size() ? kTexts[index] : "Unknown error.";
}

}  // namespace klv
