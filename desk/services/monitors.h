// The monitors of a logger's handheld control unit.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "desk/sources/signal_source.h"

namespace desk {

/// One monitor: the signals that its screen shows, by their places among those of the source.
struct Monitor {
    std::string name;
    std::vector<std::size_t> signals;

    bool operator==(const Monitor&) const = default;
};

/// What can be selected: screen 0 to 9.
inline constexpr std::size_t kMostMonitors = 10;

/// A monitor for each group of signals, in the order of the signals, up to kMostMonitors. Signals
/// are grouped by the first part of their instance names ("CAN1" for "CAN1.Engine.Speed"); where
/// all have the same, by the first two of three or more ("Host.Memory" for "Host.Memory.Used").
std::vector<Monitor> makeMonitors(const std::vector<SignalConfig>& signals);

}  // namespace desk
