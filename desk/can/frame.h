// A frame of a CAN bus.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace desk::can {

struct Frame {
    static constexpr std::size_t kMostBytes = 64;

    enum class Kind : std::uint8_t {
        Data,
        Remote,
        Error,  ///< no traffic: what the controller has to say
    };

    std::uint64_t time = 0;  ///< microseconds; of input without times 0
    std::uint32_t id = 0;    ///< 11 bits, of an extended one 29; of an error its classes
    std::uint8_t interface = 0;  ///< its place among those of the input
    std::uint8_t size = 0;       ///< in bytes
    Kind kind = Kind::Data;
    bool isExtended = false;
    bool isFd = false;
    bool hasFastData = false;  ///< FD: the data came at the data bit rate
    bool isFastDataKnown = true;
    bool isErrorPassive = false;  ///< FD: its sender is error passive
    std::array<std::uint8_t, kMostBytes> data{};

    std::span<const std::uint8_t> bytes() const { return {data.data(), size}; }
};

}  // namespace desk::can
