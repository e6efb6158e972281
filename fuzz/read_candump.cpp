// Feeds the reader of candump's texts with anything, and counts the bits of its frames.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "desk/can/candump_line.h"
#include "desk/can/frame_bits.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string line(reinterpret_cast<const char*>(data), size);
    const desk::can::CandumpLine read = desk::can::readCandumpLine(line);
    const bool isFrame = read.kind == desk::can::CandumpLine::Kind::Frame;
    if (isFrame && read.frame.kind != desk::can::Frame::Kind::Error &&
        desk::can::bitsOf(read.frame).nominal < 30) {
        std::abort();
    }
    return 0;
}
