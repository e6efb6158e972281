// The texts that candump and its relatives write, line by line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "desk/can/frame.h"

namespace desk::can {

/// A line of such a text.
struct CandumpLine {
    enum class Kind {
        Frame,
        Skipped,  ///< blank, or something that is no frame and need not be one
        Long,     ///< a CAN XL frame, which is not read
        Wrong,    ///< not understood
    };

    Kind kind = Kind::Wrong;
    std::string_view interface;  ///< into the line
    bool hasTime = false;
    Frame frame;  ///< its interface's place is not set
};

/// Reads "(1700000000.123456) can0 123#0102" as candump -L and log files have it, and the lines
/// that candump prints otherwise: "can0  123   [2]  01 02", with a time in front ("-ta", "-tA",
/// "-tz") or without one, with "-x", "-8", "-a", "-c", "-S" and "-i". Colours are taken out of the
/// line in place.
CandumpLine readCandumpLine(std::string& line);

}  // namespace desk::can
