#include "tests/plugin/without_times.h"

#include <cctype>
#include <cstddef>

namespace {

// Whether the text begins like the pattern, in which 'd' stands for a digit.
bool beginsLike(std::string_view text, std::string_view pattern) {
    if (text.size() < pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const bool isDigit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
        if (pattern[i] == 'd' ? !isDigit : text[i] != pattern[i]) {
            return false;
        }
    }
    return true;
}

// Where the number that the text begins with ends; it may have a fraction and an exponent.
std::size_t numberLength(std::string_view text) {
    const std::size_t length = text.find_first_not_of("0123456789.e+-");
    return length == std::string_view::npos ? text.size() : length;
}

}  // namespace

std::string withoutTimes(std::string_view text) {
    constexpr std::string_view kUtc = "dddd-dd-dd dd:dd:dd.ddd";
    constexpr std::string_view kDuration = "TIME: ";
    constexpr std::string_view kThread = "TID=";
    std::string result;
    while (!text.empty()) {
        if (beginsLike(text, kUtc)) {
            result += "<time>";
            text.remove_prefix(kUtc.size());
        } else if (text.starts_with(kDuration) && numberLength(text.substr(kDuration.size())) > 0) {
            result += "TIME: <ms>";
            text.remove_prefix(kDuration.size());
            text.remove_prefix(numberLength(text));
        } else if (text.starts_with(kThread) && numberLength(text.substr(kThread.size())) > 0) {
            result += "TID=<tid>";
            text.remove_prefix(kThread.size());
            text.remove_prefix(numberLength(text));
        } else {
            result += text.front();
            text.remove_prefix(1);
        }
    }
    return result;
}
