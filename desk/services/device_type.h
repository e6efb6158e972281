// The kinds of device that a logger can be.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace desk {

/// A kind of device and the numbers by which the answer to request 117 names it.
struct DeviceType {
    std::string_view name;
    std::uint8_t deviceClass;
    std::uint8_t subType;
};

/// All kinds, one entry per name.
std::span<const DeviceType> deviceTypes();

/// The kind of that name; letter case, blanks, '-' and '_' make no difference. Nothing for another
/// name.
std::optional<DeviceType> findDeviceType(std::string_view name);

}  // namespace desk
