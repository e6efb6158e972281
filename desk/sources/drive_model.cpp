#include "desk/sources/drive_model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace desk {

namespace {

/// A point of the speed profile: the speed at a time of the round, in between it changes evenly.
struct ProfilePoint {
    double time;   // s
    double speed;  // km/h
    std::string_view road;
};

constexpr std::array<ProfilePoint, 14> kProfile = {{
    {0, 0, "Harbour Street"},
    {4, 0, "Harbour Street"},
    {11, 48, "Harbour Street"},
    {22, 50, "Market Square"},
    {28, 0, "Market Square"},
    {32, 0, "Market Square"},
    {41, 60, "Hill Road"},
    {52, 98, "Hill Road"},
    {60, 82, "Hill Road"},
    {72, 131, "Motorway 7 \"North\""},
    {92, 134, "Motorway 7 \"North\""},
    {104, 55, "Riverside \xE2\x80\x93 East"},
    {116, 0, "Harbour Street"},
    {120, 0, "Harbour Street"},
}};

constexpr double kRoundSeconds = 120.0;
constexpr double kKmhToMs = 1.0 / 3.6;
constexpr double kWheelbase = 2.8;       // m
constexpr double kSteeringRatio = 15.0;  // wheel to steering wheel
constexpr double kIdle = 780.0;          // 1/min

/// The highest speed of each gear, and engine speed per km/h in it.
struct Gear {
    double upTo;
    double ratio;
};
constexpr std::array<Gear, 6> kGears = {
    {{18, 130}, {36, 72}, {58, 48}, {82, 35}, {108, 27}, {1000, 21}}};

struct ProfileState {
    double speed;         // km/h
    double acceleration;  // m/s²
    double distance;      // m since the round's begin
    std::string_view road;
};

ProfileState profileAt(double time) {
    double distance = 0.0;
    for (std::size_t i = 1; i < kProfile.size(); ++i) {
        const ProfilePoint& from = kProfile[i - 1];
        const ProfilePoint& to = kProfile[i];
        const double length = to.time - from.time;
        const double part = std::clamp((time - from.time) / length, 0.0, 1.0);
        const double speed = from.speed + (to.speed - from.speed) * part;
        distance += (from.speed + speed) / 2.0 * kKmhToMs * part * length;
        if (time < to.time || i + 1 == kProfile.size()) {
            return {speed, (to.speed - from.speed) * kKmhToMs / length, distance, from.road};
        }
    }
    return {0.0, 0.0, distance, kProfile.back().road};
}

unsigned int gearAt(double speed) {
    if (speed < 0.5) {
        return 0;
    }
    unsigned int gear = 1;
    for (const Gear& entry : kGears) {
        if (speed <= entry.upTo) {
            return gear;
        }
        ++gear;
    }
    return gear;
}

double warmingUp(double time, double from, double to, double seconds) {
    return to + (from - to) * std::exp(-time / seconds);
}

void addSteering(double time, DriveState& state) {
    // Two curves of different lengths on top of each other look like a road; slower is sharper.
    const double curve = std::sin(time * 0.35) + 0.5 * std::sin(time * 0.83);
    const double speed = state.speed * kKmhToMs;
    state.steering = curve * 90.0 / (1.0 + speed / 4.0);
    const double wheelAngle = state.steering / kSteeringRatio * std::numbers::pi / 180.0;
    const double yaw = speed * std::tan(wheelAngle) / kWheelbase;
    state.yawRate = yaw * 180.0 / std::numbers::pi;
    state.lateral = yaw * speed;
}

void addEngine(double time, DriveState& state) {
    state.gear = gearAt(state.speed);
    const double coupled = state.gear == 0 ? 0.0 : state.speed * kGears[state.gear - 1].ratio;
    state.engineSpeed = std::max(kIdle + 12.0 * std::sin(time * 3.0), coupled);
    const double drag = state.speed * state.speed / 700.0;
    state.accelerator = state.speed < 0.5 || state.acceleration < -0.2
                            ? 0.0
                            : std::clamp(8.0 + drag + state.acceleration * 22.0, 0.0, 100.0);
    state.brakePressure = std::max(0.0, -state.acceleration - 0.2) * 18.0;
    state.battery = 14.1 + 0.15 * std::sin(time * 0.7) - (state.engineSpeed < 900.0 ? 0.3 : 0.0);
}

}  // namespace

DriveState DriveModel::at(std::chrono::microseconds time) {
    const double seconds = std::chrono::duration<double>(time).count();
    const double rounds = std::floor(seconds / kRoundSeconds);
    const ProfileState profile = profileAt(seconds - rounds * kRoundSeconds);
    DriveState state;
    state.speed = profile.speed;
    state.acceleration = profile.acceleration;
    state.road = profile.road;
    state.distance = rounds * profileAt(kRoundSeconds).distance + profile.distance;
    addSteering(seconds, state);
    addEngine(seconds, state);
    state.coolant = warmingUp(seconds, 18.0, 91.0, 150.0);
    state.oil = warmingUp(seconds, 18.0, 98.0, 300.0);
    state.cabin = warmingUp(seconds, 16.0, 21.5, 200.0);
    // A full tank lasts for 700 km and is then filled again.
    state.fuel = 100.0 - std::fmod(state.distance / 7000.0, 100.0);
    const bool rains = static_cast<long long>(rounds) % 2 == 1;
    state.rain = rains ? 50.0 + 50.0 * std::sin(seconds * 0.1) : 0.0;
    return state;
}

}  // namespace desk
