// Recordings from a text.
#pragma once

#include <stdexcept>
#include <string>

#include "desk/sources/recording.h"
#include "tests/kit/temporary_directory.h"

inline desk::Recording recordingOf(const std::string& text) {
    const TemporaryDirectory directory;
    return desk::readRecording(directory.write("lap.csv", text));
}

// What is wrong with the text, without the file's name.
inline std::string errorOf(const std::string& text) {
    try {
        recordingOf(text);
    } catch (const std::invalid_argument& wrong) {
        const std::string what = wrong.what();
        return what.substr(what.find("lap.csv") + 9);
    }
    return "";
}
