// The options for a vehicle: its CAN buses, its GPS receiver, what sets a marker.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "desk/options.h"

namespace desk {

// As they were given.
struct VehicleOptions {
    std::vector<std::string> databases, bitRates, triggers;
    std::string speed, gps;
    bool once = false;
    bool raw = false;
};

void addVehicleOptions(CLI::App& app, VehicleOptions& given);

// Reads the databases, opens what frames come from and puts all of it into the options. Throws
// CLI::ValidationError that says what is wrong.
void applyVehicleOptions(const VehicleOptions& given, Options& options);

}  // namespace desk
