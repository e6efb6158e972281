#include "desk/sources/source.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "desk/sources/this_machine.h"

namespace desk {

namespace {

std::shared_ptr<const Recording> openRecording(const std::string& file) {
    std::error_code none;
    if (!std::filesystem::exists(file, none)) {
        throw std::invalid_argument("\"" + file +
                                    "\" is neither host nor drive nor a file that exists");
    }
    return std::make_shared<const Recording>(readRecording(file));
}

/// "can0", "vcan1" and their like, and whatever else this machine has as a CAN interface.
bool isCanInterface(const std::string& name) {
    static constexpr std::size_t kLongest = 15;
    static constexpr int kCanHardware = 280;
    if (name.empty() || name.size() > kLongest || name.find('/') != std::string::npos) {
        return false;
    }
    std::ifstream file("/sys/class/net/" + name + "/type");
    int hardware = 0;
    if (file >> hardware) {
        return hardware == kCanHardware;
    }
    const std::size_t can = name.find("can");
    return can != std::string::npos && can + 3 < name.size() &&
           name.find_first_not_of("0123456789", can + 3) == std::string::npos;
}

/// The interfaces of "can0,can1"; none when one of the names is no interface's.
std::vector<std::string> canInterfaces(const std::string& text) {
    std::vector<std::string> names;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        names.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    const bool are = std::all_of(names.begin(), names.end(), isCanInterface);
    return are ? names : std::vector<std::string>();
}

std::string configNameOf(const Source& source) {
    if (source.kind == Source::Kind::Drive) {
        return "Test drive";
    }
    if (!source.interfaces.empty()) {
        return "CAN";
    }
    return source.file == "-" ? "Standard input"
                              : std::filesystem::path(source.file).stem().string();
}

}  // namespace

Source parseSource(const std::string& text) {
    if (text == "host") {
        return {Source::Kind::Host, {}};
    }
    if (text == "drive") {
        return {Source::Kind::Drive, {}};
    }
    static constexpr std::string_view kFrames = "can:";
    if (text.starts_with(kFrames)) {
        if (text.size() == kFrames.size()) {
            throw std::invalid_argument("\"can:\" needs a file of frames behind it, or \"-\"");
        }
        return {Source::Kind::Can, text.substr(kFrames.size())};
    }
    std::error_code none;
    if (auto names = canInterfaces(text); !names.empty() && !std::filesystem::exists(text, none)) {
        Source source{Source::Kind::Can, {}};
        source.interfaces = std::move(names);
        return source;
    }
    return {Source::Kind::Recording, text, openRecording(text)};
}

void describe(const Source& source, LoggerIdentity& identity) {
    if (source.kind == Source::Kind::Host) {
        const MachineDescription machine = describeThisMachine();
        identity.name = machine.hostName;
        identity.configName = machine.operatingSystem;
        identity.timeZone = machine.timeZone;
        identity.softwareVersion = machine.kernel;
        identity.componentName = machine.hardware;
        return;
    }
    identity.name = "Logger " + identity.mac;
    identity.configName = configNameOf(source);
    identity.timeZone = findTimeZone(std::getenv("TZ"));
    identity.softwareVersion = "desklogger " DESK_VERSION;
    identity.componentName = "Desk logger";
}

}  // namespace desk
