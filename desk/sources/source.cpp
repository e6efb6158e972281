#include "desk/sources/source.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

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

}  // namespace

Source parseSource(const std::string& text) {
    if (text == "host") {
        return {Source::Kind::Host, {}};
    }
    if (text == "drive") {
        return {Source::Kind::Drive, {}};
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
    identity.configName = source.kind == Source::Kind::Drive
                              ? "Test drive"
                              : std::filesystem::path(source.file).stem().string();
    identity.timeZone = findTimeZone(std::getenv("TZ"));
    identity.softwareVersion = "desklogger " DESK_VERSION;
    identity.componentName = "Desk logger";
}

}  // namespace desk
