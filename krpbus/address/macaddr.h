// A hardware address.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <ios>
#include <optional>
#include <string>
#include <string_view>

struct macaddr_t {
    std::array<std::uint8_t, 6> bytes{};

    /// Ordered byte by byte from the left.
    auto operator<=>(const macaddr_t&) const = default;  // NOLINT(modernize-use-nullptr)

    /// "aa:bb:cc:dd:ee:ff", or in upper case when `flags` holds std::ios::uppercase.
    std::string toString(std::ios::fmtflags flags = {}) const;

    /// Reads six hexadecimal bytes of two digits each, separated by ':' or '-'; anything else
    /// gives nothing.
    static std::optional<macaddr_t> parse(std::string_view text);
};
