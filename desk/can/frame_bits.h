// How many bits a frame takes on its bus.
#pragma once

#include <cstdint>

#include "desk/can/frame.h"

namespace desk::can {

struct FrameBits {
    std::uint32_t nominal = 0;  ///< at the bit rate of the bus
    std::uint32_t fast = 0;     ///< FD: at the data bit rate
};

/// The bits of a frame, the three between frames included. Classic ones are counted exactly, with
/// their checksum and every stuff bit. FD ones have the fields' lengths that Linux has for them
/// (linux/can/length.h) and the stuff bits of what is in front of the checksum; those of the
/// checksum stand in fixed places and belong to its length. Error frames count nothing.
FrameBits bitsOf(const Frame& frame);

}  // namespace desk::can
