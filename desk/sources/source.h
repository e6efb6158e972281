// What a logger on a desk stands for, and how it describes itself by default.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "desk/sources/logger_identity.h"
#include "desk/sources/recording.h"

namespace desk {

class CanFeed;
class GpsdClient;

/// Where a logger's data come from.
struct Source {
    enum class Kind {
        Host,       // this machine
        Drive,      // a vehicle on a test drive
        Recording,  // a file of recorded values
        Can,        // the CAN buses of a vehicle
    };

    Kind kind = Kind::Host;
    std::string file;  // of a recording, or of frames: "-" is standard input
    std::shared_ptr<const Recording> recording = nullptr;  // what is in it
    std::vector<std::string> interfaces = {};              // CAN: this machine's own
    std::shared_ptr<CanFeed> can = nullptr;                // CAN: what comes of it
    std::shared_ptr<GpsdClient> gps = nullptr;             // a receiver beside all of that
};

/// "host", "drive", "can:" and a file of frames or "-", interfaces like "can0,can1", or the name of
/// a recording, which is read whole. Throws std::invalid_argument that says what is wrong. Of CAN
/// the frames are still to be opened.
Source parseSource(const std::string& text);

/// How a logger with that source describes itself where nothing else is asked for. Fills in the
/// names, the time zone and the software version; the MAC address must be set already.
void describe(const Source& source, LoggerIdentity& identity);

}  // namespace desk
