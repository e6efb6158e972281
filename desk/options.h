// The command line of the desk logger.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "desk/loop/duration.h"
#include "desk/scenario/scenario.h"
#include "desk/services/vehicle_triggers.h"
#include "desk/sources/logger_identity.h"
#include "desk/sources/source.h"

namespace desk {

/// What the process ends with.
enum ExitCode : int {
    kExitOk = 0,
    kExitFailure = 1,      // something that should not happen
    kExitBadOptions = 2,   // options or a scenario that are not understood
    kExitNoBus = 3,        // the bus server cannot be reached
    kExitMacTaken = 4,     // another logger has the MAC address
    kExitNobodyThere = 5,  // --tell: no logger has the MAC address
};

/// How to reach the bus server.
struct BusAddress {
    std::string host;  // empty: the bus client chooses
    std::uint16_t port = 20010;
    Milliseconds patience{10000};  // how long to try at the start

    /// For error texts: what the bus client will connect to.
    std::string describe() const;
};

/// A logger state that is made known some time after the logger is ready.
struct TimedNotice {
    std::string state;
    Milliseconds after{0};

    bool operator==(const TimedNotice&) const = default;
};

struct Options {
    LoggerIdentity identity;
    Source source;
    BusAddress bus;
    Milliseconds heartbeat{500};
    Milliseconds neighboursTimeout{3000};
    Milliseconds latency{20};  // before each answer
    Scenario scenario;
    std::vector<TimedNotice> notices;
    /// Values per second and signal, of a recording rows per second; figures per second and bus.
    std::optional<double> rate;
    std::string eventFile;         // where events are kept; empty: nowhere
    std::size_t eventCap = 10000;  // events beyond it push the oldest out
    std::string audioDirectory;    // where audio files are kept; empty: they go with the logger
    std::string uploadDirectory = "/tmp";  // where uploaded audio files are taken from
    uid_t uploader = geteuid();            // and whose they have to be
    std::vector<Condition> triggers;       // what of a vehicle sets a marker
    bool readCommands = false;
    std::optional<std::string> tell;  // set: tell the logger this state and end
};

/// What the command line asks for: to run with these options, or to end with this code.
struct CommandLine {
    std::optional<Options> options;
    int exitCode = kExitOk;
};

/// Reads the command line. Help goes to `out`, one clear error to `errors`.
CommandLine readCommandLine(const std::vector<std::string>& arguments, std::ostream& out,
                            std::ostream& errors);

/// Whether the text can be a logger state: a digit, '-' and letters, like "8-loggerOff".
bool isLoggerState(const std::string& text);

}  // namespace desk
