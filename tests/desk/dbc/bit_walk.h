// A second way to read a signal's bits: one after the other, as the format describes them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "desk/dbc/database.h"

// The bits as a number without sign; nothing when one of them is not there.
inline std::optional<std::uint64_t> walkBits(const dbc::Signal& signal,
                                             std::span<const std::uint8_t> bytes) {
    std::uint64_t value = 0;
    std::uint32_t bit = signal.start;
    for (std::uint32_t i = 0; i < signal.length; ++i) {
        if (bit / 8 >= bytes.size()) {
            return std::nullopt;
        }
        const std::uint64_t isSet = bytes[bit / 8] >> bit % 8 & 1U;
        if (signal.order == dbc::ByteOrder::Intel) {
            value |= isSet << i;
            ++bit;
        } else {
            value = value << 1U | isSet;
            bit = bit % 8 == 0 ? bit + 15 : bit - 1;
        }
    }
    return value;
}
