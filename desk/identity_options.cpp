#include "desk/identity_options.h"

#include <ios>
#include <stdexcept>

#include "desk/option_values.h"
#include "desk/services/device_type.h"
#include "krpbus/address/ksl_util.h"

namespace desk {

namespace {

/// "Relay" alone would do for "Stratolog Relay", too.
std::optional<DeviceType> typeByName(const std::string& name) {
    const auto type = findDeviceType(name);
    return type ? type : findDeviceType("Stratolog " + name);
}

std::string typeNames() {
    std::string names;
    for (const DeviceType& type : deviceTypes()) {
        names += (names.empty() ? "" : ", ") + std::string(type.name);
    }
    return names;
}

std::string readMac(const std::string& text) {
    const auto mac = macaddr_t::parse(text);
    if (!mac) {
        reject("--mac", "\"" + text + "\" is not a MAC address like 02:00:00:00:00:01");
    }
    return mac->toString(std::ios::uppercase);
}

Source readSource(const std::string& option, const std::string& text) {
    try {
        return parseSource(text);
    } catch (const std::invalid_argument& wrong) {
        reject(option, wrong.what());
    }
}

void applyType(const GivenIdentity& given, LoggerIdentity& identity) {
    if (given.type) {
        const auto type = typeByName(*given.type);
        if (!type) {
            reject("--type", "\"" + *given.type + "\" is none of: " + typeNames());
        }
        identity.deviceClass = type->deviceClass;
        identity.subType = type->subType;
    }
    identity.deviceClass = given.deviceClass.value_or(identity.deviceClass);
    identity.subType = given.subType.value_or(identity.subType);
}

}  // namespace

void applyIdentity(const GivenIdentity& given, const Source& source, LoggerIdentity& identity) {
    if (identity.mac.empty()) {
        identity.mac = KSLUtil::findLowestMAC().toString(std::ios::uppercase);
    }
    describe(source, identity);
    identity.name = given.name.value_or(identity.name);
    identity.configName = given.configName.value_or(identity.configName);
    identity.timeZone = given.timeZone.value_or(identity.timeZone);
    identity.softwareVersion = given.softwareVersion.value_or(identity.softwareVersion);
    identity.componentName = given.componentName.value_or(identity.componentName);
    applyType(given, identity);
}

void addIdentityOptions(CLI::App& app, LoggerIdentity& identity, Source& source,
                        GivenIdentity& given) {
    const std::string group = "Who the logger is";
    addText(
        app, "--mac", [&identity](const std::string& text) { identity.mac = readMac(text); },
        "hardware address, its identity in the network (default: this machine's lowest one, or "
        "KRPBUS_MAC)",
        "M")
        ->group(group);
    CLI::Option* const recording = addText(
        app, "FILE.csv",
        [&source](const std::string& text) {
            source = readSource("FILE.csv", text);
            if (source.kind != Source::Kind::Recording) {
                reject("FILE.csv", "say --source " + text);
            }
        },
        "a recording to stand for, the same as --source FILE.csv", "");
    addText(
        app, "--source",
        [&source](const std::string& text) { source = readSource("--source", text); },
        "what it stands for: host (this machine, the default), drive (a vehicle on a test drive), "
        "FILE.csv (a recording), can:FILE or can:- (the frames of a vehicle's CAN buses as candump "
        "writes them), can0,can1 (this machine's own CAN interfaces); the options below default to "
        "that one's",
        "S")
        ->excludes(recording)
        ->group(group);
    app.add_option("--name", given.name, "name")->type_name("N")->group(group);
    app.add_option("--type", given.type, "kind of device: " + typeNames() + " (default Stratolog2)")
        ->type_name("T")
        ->group(group);
    addNumber<std::uint8_t>(app, "--component-class", given.deviceClass,
                            "device class instead of that of --type")
        ->group(group);
    addNumber<std::uint8_t>(app, "--component-subtype", given.subType,
                            "sub-type instead of that of --type")
        ->group(group);
    app.add_option("--component-name", given.componentName, "name of the device itself")
        ->type_name("N")
        ->group(group);
    app.add_option("--config-name", given.configName, "name of the configuration that it runs")
        ->type_name("N")
        ->group(group);
    app.add_option("--timezone", given.timeZone, "time zone (default: this machine's)")
        ->type_name("ZONE")
        ->group(group);
    app.add_option("--software-version", given.softwareVersion, "software version")
        ->type_name("V")
        ->group(group);
    addNumber<std::uint8_t>(app, "--status", identity.status, "status (default 0)")->group(group);
    addNumber<std::int64_t>(app, "--time-offset", identity.timeOffset,
                            "own clock against the network's, in microseconds (default 0)")
        ->group(group);
    addNumber<std::uint8_t>(app, "--network-offset", identity.networkOffset,
                            "what other loggers add to its channel numbers (default 0)")
        ->group(group);
}

}  // namespace desk
