#include "desk/options.h"

#include <pwd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "desk/identity_options.h"
#include "desk/option_values.h"
#include "desk/scenario/scenario_reader.h"
#include "desk/vehicle_options.h"
#include "krpbus/client/server_url.h"

namespace desk {

namespace {

constexpr const char* kDescription =
    "One logger of a network, on a desk: it takes part in the message bus of this machine, "
    "answers\n"
    "what a live view asks, sends it live data, forwards between loggers and knows its neighbours.";

constexpr const char* kExamples = R"(Examples:
  desklogger
      This machine as a logger, on the bus server at 127.0.0.1:20010.
  desklogger --mac 02:00:00:00:00:02 --name "Rear axle" --type Relay --source drive
      A second logger of the same network. Each logger needs a MAC address of its own.
  desklogger --mac 02:00:00:00:00:05 lap.csv
      One that plays a recording in a loop. Its first row is: time,<signal> [unit],...
      and each further one a time in seconds and the values.
  candump -L can0 | desklogger --source can:- --dbc car.dbc --trigger 'EngineData.Speed > 80'
      A vehicle's CAN bus: its signals as the database names them, its load, and a marker
      whenever it becomes that fast.
  desklogger --mac 02:00:00:00:00:03 --scenario slow.json
      A third one that misbehaves as the file says; for instance it answers request 53 late and
      request 82 "busy" twice: {"requests": {"53": {"delay": "3s"}, "82": {"busy": 2}}}
  desklogger --mac 02:00:00:00:00:04 --notify 8-loggerOff@2s --notify 3-stop@5s
      Tells its clients 2 s after it is ready that the logger is off, 3 s later that it stops.
  desklogger --mac 02:00:00:00:00:02 --tell 1-config
      Makes the logger with that address, which runs already, tell its clients "1-config".

A logger prints "desklogger <MAC> ready" when it answers requests. The signals USR1, USR2 and RTMIN make it
tell its clients 1-config, 8-loggerOff and 3-stop; INT and TERM make it leave the network and end.
It ends with 0 after that, 2 for bad options, 3 when the bus server cannot be reached at the start,
4 when another logger has its MAC address; --tell ends with 5 when no logger has it.)";

uid_t readUser(const std::string& text) {
    if (const passwd* const user = getpwnam(text.c_str()); user != nullptr) {
        return user->pw_uid;
    }
    uid_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stopped != end) {
        reject("--upload-user", "there is no user \"" + text + "\"");
    }
    return number;
}

TimedNotice readNotice(const std::string& text) {
    const std::size_t at = text.find('@');
    TimedNotice notice{text.substr(0, at), Milliseconds(0)};
    if (!isLoggerState(notice.state)) {
        reject("--notify", "\"" + notice.state + "\" is not a logger state like 8-loggerOff");
    }
    if (at != std::string::npos) {
        notice.after = readDuration("--notify", text.substr(at + 1));
    }
    return notice;
}

/// "host:port", "host", or a NATS URL, which stays whole.
void readBusAddress(const std::string& text, BusAddress& bus) {
    bus.host = text;
    const std::size_t colon = text.rfind(':');
    if (text.find("://") != std::string::npos || colon == std::string::npos) {
        return;
    }
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data() + colon + 1, end, bus.port);
    if (error != std::errc{} || stopped != end || bus.port == 0 || colon == 0) {
        reject("--bus", "\"" + text + "\" is not host:port with a port from 1 to 65535");
    }
    bus.host = text.substr(0, colon);
}

double readRate(const std::string& text) {
    double rate = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, rate);
    if (error != std::errc{} || stopped != end || !(rate >= 0.01 && rate <= 10000.0)) {
        reject("--rate", "\"" + text + "\" is not a number from 0.01 to 10000");
    }
    return rate;
}

/// Only one can have what is typed or piped in.
void checkStandardInput(const Options& options) {
    if (options.readCommands && options.source.file == "-") {
        throw CLI::ValidationError("--commands",
                                   "reads standard input, and so does --source can:-");
    }
}

/// A heartbeat may come late, or not at all when a machine is busy; several must be missing before
/// that means something.
void checkTimes(const Options& options) {
    if (options.heartbeat < Milliseconds(10)) {
        reject("--heartbeat", "must be 10ms or more");
    }
    if (options.neighboursTimeout < 4 * options.heartbeat) {
        reject("--neighbours-timeout", "must be at least four times --heartbeat");
    }
}

void addBusOptions(CLI::App& app, Options& options) {
    const std::string group = "The bus and the network";
    addText(
        app, "--bus", [&options](const std::string& text) { readBusAddress(text, options.bus); },
        "bus server, or a NATS URL (default: KRPBUS_SERVER, or else 127.0.0.1:20010)", "HOST:PORT")
        ->group(group);
    addText(
        app, "--connect-timeout",
        [&options](const std::string& text) {
            options.bus.patience = readDuration("--connect-timeout", text);
        },
        "how long to try at the start (default 10s); later it tries without end", "TIME")
        ->group(group);
    addText(
        app, "--heartbeat",
        [&options](const std::string& text) {
            options.heartbeat = readDuration("--heartbeat", text);
        },
        "how often it shows that it is there (default 500ms)", "TIME")
        ->group(group);
    addText(
        app, "--neighbours-timeout",
        [&options](const std::string& text) {
            options.neighboursTimeout = readDuration("--neighbours-timeout", text);
        },
        "when a neighbour that is no longer heard counts as gone (default 3s)", "TIME")
        ->group(group);
}

void addActionOptions(CLI::App& app, Options& options) {
    const std::string group = "What it does";
    addText(
        app, "--latency",
        [&options](const std::string& text) { options.latency = readDuration("--latency", text); },
        "how long it takes to answer, as a logger does that has other things to do (default 20ms)",
        "TIME")
        ->group(group);
    addText(
        app, "--rate", [&options](const std::string& text) { options.rate = readRate(text); },
        "live values per second and signal, and loads per second and bus, 0.01 to 10000 (default: "
        "2 of a host, 10 of a drive, 10 of a vehicle's changing signals, 2 of a bus); of a "
        "recording rows per second (default: as "
        "recorded)",
        "N")
        ->group(group);
    app.add_option("--events", options.eventFile,
                   "keep the events in this file over restarts (default: they go with the logger)")
        ->type_name("FILE")
        ->group(group);
    addText(
        app, "--events-cap",
        [&options](const std::string& text) {
            options.eventCap = readNumber<std::uint32_t>("--events-cap", text);
        },
        "keep this many events, the newest ones (default 10000)", "N")
        ->group(group);
    app.add_option("--audio", options.audioDirectory,
                   "keep the audio files in this directory over restarts (default: they go with "
                   "the logger)")
        ->type_name("DIR")
        ->group(group);
    app.add_option("--uploads", options.uploadDirectory,
                   "take uploaded audio files over from this directory only (default /tmp)")
        ->type_name("DIR")
        ->group(group);
    addText(
        app, "--upload-user",
        [&options](const std::string& text) { options.uploader = readUser(text); },
        "take only files of this user over: the one that the web server's children run as "
        "(default: the one that this logger runs as)",
        "USER")
        ->group(group);
    app.add_option_function<std::vector<std::string>>(
           "--notify",
           [&options](const std::vector<std::string>& texts) {
               std::transform(texts.begin(), texts.end(), std::back_inserter(options.notices),
                              readNotice);
           },
           "tell the clients this state, some time after being ready; may be given several times")
        ->type_name("STATE[@TIME]")
        ->take_all()
        ->expected(1)
        ->group(group);
    addText(
        app, "--scenario",
        [&options](const std::string& file) {
            try {
                options.scenario = readScenarioFile(file);
            } catch (const ScenarioError& wrong) {
                reject("--scenario", file + ": " + wrong.what());
            }
        },
        "misbehave as the file says", "FILE.json")
        ->group(group);
    app.add_flag("--commands", options.readCommands,
                 "read commands from standard input: \"notify STATE\", \"leave\"")
        ->group(group);
    addText(
        app, "--tell",
        [&options](const std::string& state) {
            if (!isLoggerState(state)) {
                reject("--tell", "\"" + state + "\" is not a logger state like 1-config");
            }
            options.tell = state;
        },
        "be no logger: make the one that has the address of --mac tell its clients this state",
        "STATE")
        ->group(group);
}

int fail(const std::string& why, std::ostream& errors) {
    errors << "desklogger: " << why << "\nTry: desklogger --help\n";
    return kExitBadOptions;
}

}  // namespace

std::string BusAddress::describe() const {
    if (!host.empty()) {
        return host.find("://") == std::string::npos ? host + ":" + std::to_string(port)
                                                     : krpbus::withoutCredentials(host);
    }
    const char* const server = std::getenv("KRPBUS_SERVER");
    return server != nullptr && *server != '\0' ? krpbus::withoutCredentials(server)
                                                : "127.0.0.1:" + std::to_string(port);
}

bool isLoggerState(const std::string& text) {
    return text.size() > 2 && text.size() <= 40 && text[0] >= '0' && text[0] <= '9' &&
           text[1] == '-' && std::all_of(text.begin() + 2, text.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
           });
}

CommandLine readCommandLine(const std::vector<std::string>& arguments, std::ostream& out,
                            std::ostream& errors) {
    Options options;
    GivenIdentity given;
    CLI::App app(kDescription, "desklogger");
    app.footer(kExamples);
    app.set_version_flag("--version", "desklogger " DESK_VERSION, "print the version and exit");
    app.get_formatter()->column_width(34);
    addIdentityOptions(app, options.identity, options.source, given);
    addBusOptions(app, options);
    addActionOptions(app, options);
    VehicleOptions vehicle;
    addVehicleOptions(app, vehicle);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        checkStandardInput(options);
        applyVehicleOptions(vehicle, options.source, options.triggers);
        applyIdentity(given, options.source, options.identity);
        checkTimes(options);
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return {std::nullopt, kExitOk};
    } catch (const CLI::CallForVersion& version) {
        out << version.what() << '\n';
        return {std::nullopt, kExitOk};
    } catch (const CLI::ParseError& wrong) {
        return {std::nullopt, fail(wrong.what(), errors)};
    }
    return {std::move(options), kExitOk};
}

}  // namespace desk
