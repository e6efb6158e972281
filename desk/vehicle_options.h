// The options for a vehicle: its CAN buses, its GPS receiver, what sets a marker.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "desk/services/vehicle_triggers.h"
#include "desk/sources/source.h"

namespace desk {

/// As they were given.
struct VehicleOptions {
    std::vector<std::string> databases, bitRates, triggers;
    std::string speed, gps;
    bool once = false;
    bool raw = false;
};

void addVehicleOptions(CLI::App& app, VehicleOptions& given);

/// Reads the databases and opens what frames come from for the source, and reads what sets a
/// marker. Throws CLI::ValidationError that says what is wrong.
void applyVehicleOptions(const VehicleOptions& given, Source& source,
                         std::vector<Condition>& conditions);

}  // namespace desk
