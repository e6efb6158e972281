#include "desk/dbc/text.h"

#include <array>
#include <cstdint>

#include "base/utf8.h"

namespace dbc {

namespace {

constexpr std::uint16_t kUndefined = 0xFFFD;

/// What 80h to 9Fh are in Windows-1252; all other bytes are what they are in Unicode.
constexpr std::array<std::uint16_t, 32> kWindows1252 = {
    0x20AC,     kUndefined, 0x201A, 0x0192, 0x201E, 0x2026,     0x2020, 0x2021,
    0x02C6,     0x2030,     0x0160, 0x2039, 0x0152, kUndefined, 0x017D, kUndefined,
    kUndefined, 0x2018,     0x2019, 0x201C, 0x201D, 0x2022,     0x2013, 0x2014,
    0x02DC,     0x2122,     0x0161, 0x203A, 0x0153, kUndefined, 0x017E, 0x0178};

void append(std::uint16_t character, std::string& text) {
    const auto put = [&text](unsigned int byte) { text += static_cast<char>(byte); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0U | (character >> 6U));
        put(0x80U | (character & 0x3FU));
    } else {
        put(0xE0U | (character >> 12U));
        put(0x80U | ((character >> 6U) & 0x3FU));
        put(0x80U | (character & 0x3FU));
    }
}

std::string fromWindows1252(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size() + bytes.size() / 16);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isSpecial = byte >= 0x80 && byte < 0xA0;
        append(isSpecial ? kWindows1252[byte - 0x80U] : byte, text);
    }
    return text;
}

}  // namespace

std::string toText(std::string_view bytes) {
    static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (bytes.starts_with(kByteOrderMark)) {
        bytes.remove_prefix(kByteOrderMark.size());
    }
    std::string kept;
    kept.reserve(bytes.size());
    for (const char c : bytes) {
        if (c != '\0' && c != '\x1A') {
            kept += c;
        }
    }
    return base::isUtf8(kept) ? kept : fromWindows1252(kept);
}

}  // namespace dbc
