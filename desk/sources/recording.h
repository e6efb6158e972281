// A recording of signal values and bus loads: a table in a text file.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "desk/sources/bus_title.h"

namespace desk {

/// The first row of the file is "time,<signal> [unit],...", with the unit left out where there is
/// none. Each further row holds a time in seconds, not before that of the row above it, and a value
/// for each signal; an empty field is no value. Fields are separated by commas; one that holds a
/// comma, a quote or a line break stands in double quotes, with its own quotes doubled.
///
/// A column with a title like "BUSID_CAN 1 Powertrain [UNIT_PERCENT]" holds the loads of a bus
/// instead: its kind and unit as browsers are told them, its channel counted from 1 and its name.
/// Loads are whole numbers.
struct Recording {
    struct Signal {
        std::string name;
        std::string unit;
        bool isNumber = false;  // every value reads as a number
    };
    using Bus = RecordedBus;
    struct Row {
        std::chrono::microseconds time{0};  // since the first row
        std::vector<std::string> values;    // one for each signal, as it stands in the file
        std::vector<std::optional<std::int32_t>> loads{};  // one for each bus
    };

    std::vector<Signal> signals;
    std::vector<Bus> buses;
    std::vector<Row> rows;
};

/// Reads a recording. Throws std::invalid_argument that names the file and says what is wrong
/// where.
Recording readRecording(const std::filesystem::path& file);

/// From this row to the one after it, or to the first one of the next round.
std::chrono::microseconds untilRowAfter(const Recording& recording, std::size_t row);

}  // namespace desk
