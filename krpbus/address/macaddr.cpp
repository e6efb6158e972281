#include "krpbus/address/macaddr.h"

namespace {

std::optional<std::uint8_t> hexDigit(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<std::uint8_t>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<std::uint8_t>(digit - 'a' + 10);
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<std::uint8_t>(digit - 'A' + 10);
    }
    return std::nullopt;
}

}  // namespace

std::string macaddr_t::toString(std::ios::fmtflags flags) const {
    const char* const digits =
        (flags & std::ios::uppercase) != 0 ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text;
    text.reserve(17);
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += ':';
        }
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::optional<macaddr_t> macaddr_t::parse(std::string_view text) {
    constexpr std::size_t kLength = 17;
    if (text.size() != kLength) {
        return std::nullopt;
    }
    macaddr_t address;
    for (std::size_t i = 0; i < address.bytes.size(); ++i) {
        const auto high = hexDigit(text[3 * i]);
        const auto low = hexDigit(text[3 * i + 1]);
        const bool separated =
            3 * i + 2 >= kLength || text[3 * i + 2] == ':' || text[3 * i + 2] == '-';
        if (!high || !low || !separated) {
            return std::nullopt;
        }
        address.bytes[i] = static_cast<std::uint8_t>(*high << 4 | *low);
    }
    return address;
}
