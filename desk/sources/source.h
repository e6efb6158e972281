// What a logger on a desk stands for, and how it describes itself by default.
#pragma once

#include <memory>
#include <string>

#include "desk/sources/logger_identity.h"
#include "desk/sources/recording.h"

namespace desk {

// Where a logger's data come from.
struct Source {
    enum class Kind {
        Host,       // this machine
        Drive,      // a vehicle on a test drive
        Recording,  // a file of recorded values
    };

    Kind kind = Kind::Host;
    std::string file;                                      // of a recording
    std::shared_ptr<const Recording> recording = nullptr;  // what is in it
};

// "host", "drive" or the name of a recording, which is read whole. Throws std::invalid_argument
// that says what is wrong.
Source parseSource(const std::string& text);

// How a logger with that source describes itself where nothing else is asked for. Fills in the
// names, the time zone and the software version; the MAC address must be set already.
void describe(const Source& source, LoggerIdentity& identity);

}  // namespace desk
