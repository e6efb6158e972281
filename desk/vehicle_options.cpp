#include "desk/vehicle_options.h"

#include <charconv>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "base/log.h"
#include "desk/dbc/reader.h"
#include "desk/gps/gpsd_client.h"
#include "desk/option_values.h"
#include "desk/sources/can_feed.h"

namespace desk {

namespace {

constexpr std::size_t kLongestInterface = 15;
constexpr std::size_t kShownRemarks = 10;  // of one database

/// "can1:rest" is for that interface; anything else for all of them.
std::pair<std::string, std::string> splitInterface(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0 || colon > kLongestInterface ||
        text.find('/') < colon) {
        return {"", text};
    }
    return {text.substr(0, colon), text.substr(colon + 1)};
}

void tellOf(const CanDatabase& database) {
    const dbc::Database& content = *database.content;
    std::size_t shown = 0;
    for (const dbc::Remark& remark : content.remarks) {
        if (shown++ < kShownRemarks) {
            LogUtil::log(remark.isLoss ? LogLevel::Error : LogLevel::Warning, "readDatabase",
                         database.file + ":" + std::to_string(remark.line) + ": " + remark.text +
                             (remark.isLoss ? "; it is left out" : ""));
        }
    }
    const std::size_t remarks = content.remarks.size() + content.moreRemarks;
    std::string text = database.file + ": " + std::to_string(content.messages.size()) +
                       " messages, " + std::to_string(content.signalCount()) + " signals";
    if (remarks > 0) {
        text += ", " + std::to_string(remarks) + " remarks";
    }
    LogUtil::log(LogLevel::Info, "readDatabase", text);
}

CanDatabase openDatabase(const std::string& text) {
    std::error_code none;
    auto [interface, file] =
        std::filesystem::exists(text, none) ? std::pair(std::string(), text) : splitInterface(text);
    CanDatabase database{file, interface, nullptr};
    try {
        database.content = std::make_shared<const dbc::Database>(dbc::readDatabaseFile(file));
    } catch (const std::invalid_argument& wrong) {
        reject("--dbc", wrong.what());
    }
    tellOf(database);
    return database;
}

/// "500k", "2M", "83333"
std::optional<double> readBits(std::string_view text) {
    const double unit = text.ends_with('k') ? 1e3 : text.ends_with('M') ? 1e6 : 1.0;
    text.remove_suffix(unit > 1.0 ? 1 : 0);
    double number = 0.0;
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && stopped == text.data() + text.size();
    const double bits = number * unit;
    return isNumber && bits >= 1000.0 && bits <= 100e6 ? std::optional(bits) : std::nullopt;
}

void applyBitRate(const std::string& text, CanSetup& setup) {
    const auto [interface, rates] = splitInterface(text);
    const std::size_t slash = rates.find('/');
    const auto nominal = readBits(std::string_view(rates).substr(0, slash));
    const auto data = slash == std::string::npos
                          ? std::optional(can::BitRate().data)
                          : readBits(std::string_view(rates).substr(slash + 1));
    if (!nominal || !data) {
        reject("--bitrate", "\"" + text + "\" is not a bit rate like 500k, 500k/2M or can1:250k");
    }
    (interface.empty() ? setup.rate : setup.rates[interface]) = {*nominal, *data,
                                                                 slash != std::string::npos};
}

double readSpeed(const std::string& text) {
    double speed = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, speed);
    if (error != std::errc() || stopped != end || !(speed >= 0.001 && speed <= 1000.0)) {
        reject("--speed", "\"" + text + "\" is not a number from 0.001 to 1000");
    }
    return speed;
}

void openCan(const VehicleOptions& given, Source& source) {
    CanSetup setup;
    setup.file = source.file;
    setup.interfaces = source.interfaces;
    for (const std::string& text : given.databases) {
        setup.databases.push_back(openDatabase(text));
    }
    for (const std::string& text : given.bitRates) {
        applyBitRate(text, setup);
    }
    setup.playback.speed = given.speed.empty() ? 1.0 : readSpeed(given.speed);
    setup.playback.once = given.once;
    setup.raw = given.raw;
    try {
        source.can = std::make_shared<CanFeed>(std::move(setup));
    } catch (const std::invalid_argument& wrong) {
        reject("--source", wrong.what());
    }
}

/// What says something about frames where there are none.
void checkUnused(const VehicleOptions& given) {
    const char* const unused = !given.databases.empty()  ? "--dbc"
                               : !given.bitRates.empty() ? "--bitrate"
                               : !given.triggers.empty() ? "--trigger"
                               : !given.speed.empty()    ? "--speed"
                               : given.once              ? "--once"
                               : given.raw               ? "--raw"
                                                         : nullptr;
    if (unused != nullptr) {
        reject(unused, "needs the frames of a vehicle: --source can:FILE, can:- or can0");
    }
}

void addTexts(CLI::App& app, const std::string& name, std::vector<std::string>& target,
              const std::string& help, const std::string& kind, const std::string& group) {
    app.add_option(name, target, help)->type_name(kind)->take_all()->expected(1)->group(group);
}

}  // namespace

void addVehicleOptions(CLI::App& app, VehicleOptions& given) {
    const std::string group = "A vehicle (--source can:...)";
    addTexts(app, "--dbc", given.databases,
             "the database of its messages, of one interface or of all; may be given several times",
             "[IFACE:]FILE", group);
    app.add_option("--speed", given.speed, "play a file so many times as fast (default 1)")
        ->type_name("N")
        ->group(group);
    app.add_flag("--once", given.once, "play a file once instead of in a loop")->group(group);
    app.add_flag("--raw", given.raw, "offer the bytes of every identifier, too")->group(group);
    addTexts(app, "--bitrate", given.bitRates,
             "bit rate of the buses, and the one of CAN FD data (default 500k/2M)", "[IFACE:]N[/N]",
             group);
    addTexts(app, "--trigger", given.triggers,
             "set a marker when this becomes true, at most one a second, for instance "
             "'EngineData.Speed > 80'; may be given several times",
             "CONDITION", group);
    app.add_option("--gps", given.gps,
                   "the GPS receiver of this gpsd, beside whatever the logger stands for")
        ->type_name("HOST[:PORT]")
        ->group("What it does");
}

void applyVehicleOptions(const VehicleOptions& given, Source& source,
                         std::vector<Condition>& conditions) {
    if (source.kind == Source::Kind::Can) {
        openCan(given, source);
    } else {
        checkUnused(given);
    }
    try {
        for (const std::string& text : given.triggers) {
            conditions.push_back(readCondition(text));
        }
    } catch (const std::invalid_argument& wrong) {
        reject("--trigger", wrong.what());
    }
    try {
        if (!given.gps.empty()) {
            source.gps = std::make_shared<GpsdClient>(given.gps);
        }
    } catch (const std::invalid_argument& wrong) {
        reject("--gps", wrong.what());
    }
}

}  // namespace desk
