// A vehicle on a test drive, as far as its signals and buses need one.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

namespace desk {

/// The state of the vehicle at one time. The same time always gives the same state.
struct DriveState {
    double speed = 0.0;          // km/h
    double acceleration = 0.0;   // m/s², along the vehicle
    double lateral = 0.0;        // m/s²
    double yawRate = 0.0;        // °/s
    double steering = 0.0;       // °, at the wheel
    unsigned int gear = 0;       // 0 is neutral
    double engineSpeed = 0.0;    // 1/min
    double accelerator = 0.0;    // %
    double brakePressure = 0.0;  // bar
    double coolant = 0.0;        // °C
    double oil = 0.0;            // °C
    double cabin = 0.0;          // °C
    double fuel = 0.0;           // %
    double battery = 0.0;        // V
    double distance = 0.0;       // m
    double rain = 0.0;           // %
    std::string_view road;
};

/// The drive: a round of about two minutes through a town, over a country road and a motorway, then
/// the next one. Engine, oil and cabin warm up during the first rounds; every other round it rains.
class DriveModel {
  public:
    /// How long one round takes.
    static constexpr std::chrono::seconds kRound{120};

    static DriveState at(std::chrono::microseconds time);
};

}  // namespace desk
