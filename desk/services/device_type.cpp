#include "desk/services/device_type.h"

#include <array>
#include <string>

namespace desk {

namespace {

/// Where several numbers mean the same kind of device, one of them stands for all.
constexpr std::array kTypes{
    DeviceType{"Stratolog2", 1, 0},
    DeviceType{"Handheld Control Unit", 16, 21},
    DeviceType{"Stratolog Relay", 16, 22},
    DeviceType{"Stratolog Pocket", 16, 20},
    DeviceType{"Stratolog Bus Recorder", 112, 113},
    DeviceType{"Stratolog Sprint", 112, 112},
    DeviceType{"unknown", 0, 0},
};

std::string simplified(std::string_view name) {
    std::string result;
    for (const char c : name) {
        if (c == ' ' || c == '-' || c == '_') {
            continue;
        }
        result += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return result;
}

}  // namespace

std::span<const DeviceType> deviceTypes() {
    return kTypes;
}

std::optional<DeviceType> findDeviceType(std::string_view name) {
    for (const DeviceType& type : kTypes) {
        if (simplified(type.name) == simplified(name)) {
            return type;
        }
    }
    return std::nullopt;
}

}  // namespace desk
