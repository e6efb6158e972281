// A recording of signal values: a table in a text file.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace desk {

// The first row of the file is "time,<signal> [unit],...", with the unit left out where there is
// none. Each further row holds a time in seconds, not before that of the row above it, and a value
// for each signal; an empty field is no value. Fields are separated by commas; one that holds a
// comma, a quote or a line break stands in double quotes, with its own quotes doubled.
struct Recording {
    struct Signal {
        std::string name;
        std::string unit;
        bool isNumber = false;  // every value reads as a number
    };
    struct Row {
        std::chrono::microseconds time{0};  // since the first row
        std::vector<std::string> values;    // one for each signal, as it stands in the file
    };

    std::vector<Signal> signals;
    std::vector<Row> rows;
};

// Reads a recording. Throws std::invalid_argument that names the file and says what is wrong where.
Recording readRecording(const std::filesystem::path& file);

}  // namespace desk
