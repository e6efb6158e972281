#include "desk/services/escaped_text.h"

namespace desk {

namespace {

int digitValue(char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

}  // namespace

std::string escapeText(std::string_view text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7F && c != '%') {
            escaped += c;
        } else {
            escaped += {'%', kDigits[byte >> 4U], kDigits[byte & 0x0FU]};
        }
    }
    return escaped.empty() ? "%" : escaped;
}

bool unescapeText(std::string_view word, std::string& text) {
    text.clear();
    for (std::size_t i = 0; word != "%" && i < word.size(); ++i) {
        if (word[i] != '%') {
            text += word[i];
            continue;
        }
        const int high = i + 2 < word.size() ? digitValue(word[i + 1]) : -1;
        const int low = i + 2 < word.size() ? digitValue(word[i + 2]) : -1;
        if (high < 0 || low < 0) {
            return false;
        }
        text += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return true;
}

}  // namespace desk
