#include "desk/sources/drive_signals.h"

#include <cmath>
#include <utility>

#include "krpbus/messages/signal_message.h"

namespace desk {

const DriveSignals::Place DriveSignals::kPowertrain = {"CAN1", BUSID_CAN, 0};
const DriveSignals::Place DriveSignals::kChassis = {"CAN2", BUSID_CAN, 1};
const DriveSignals::Place DriveSignals::kDynamics = {"FlexRay1", BUSID_FLEXRAY, 0};
const DriveSignals::Place DriveSignals::kComfort = {"LIN1", BUSID_LIN, 0};
const DriveSignals::Place DriveSignals::kInfotainment = {"Ethernet1", BUSID_ETHERNET, 0};

DriveSignals::DriveSignals() {
    addPowertrain();
    addChassis();
    addDynamics();
    addComfort();
    addInfotainment();
}

std::optional<SignalSource::Duration> DriveSignals::read(Duration time,
                                                         std::vector<SignalReading>& readings) {
    const DriveState state = DriveModel::at(time);
    for (std::size_t i = 0; i < readers_.size(); ++i) {
        readings.push_back(readers_[i](state, i, configs_[i]));
    }
    return std::nullopt;
}

void DriveSignals::addPowertrain() {
    const Place& bus = kPowertrain;
    number(bus, "Vehicle.Speed", "Vehicle speed", "km/h", 2,
           [](const DriveState& s) { return s.speed; });
    number(bus, "Vehicle.Odometer", "Distance driven", "m", 0,
           [](const DriveState& s) { return 48211000.0 + s.distance; });
    number(bus, "Engine.Speed", "Engine speed", "1/min", 0,
           [](const DriveState& s) { return s.engineSpeed; });
    number(bus, "Engine.CoolantTemperature", "Coolant temperature", "\u00B0C", 1,
           [](const DriveState& s) { return s.coolant; });
    number(bus, "Engine.OilTemperature", "Oil temperature", "\u00B0C", 1,
           [](const DriveState& s) { return s.oil; });
    number(bus, "Engine.FuelLevel", "Fuel level", "%", 1,
           [](const DriveState& s) { return s.fuel; });
    number(bus, "Pedal.Accelerator", "Accelerator pedal", "%", 1,
           [](const DriveState& s) { return s.accelerator; });
    state(bus, "Pedal.Brake", "Brake pedal", {{0, "released"}, {1, "pressed"}},
          [](const DriveState& s) { return std::uint64_t{s.brakePressure > 0.0 ? 1U : 0U}; });
    state(bus, "Transmission.Gear", "Gear",
          {{0, "neutral"},
           {1, "first"},
           {2, "second"},
           {3, "third"},
           {4, "fourth"},
           {5, "fifth"},
           {6, "sixth"}},
          [](const DriveState& s) { return std::uint64_t{s.gear}; });
}

void DriveSignals::addChassis() {
    const Place& bus = kChassis;
    // The outer wheels are faster in a curve.
    number(bus, "Wheel.FrontLeft", "Wheel speed front left", "km/h", 2,
           [](const DriveState& s) { return s.speed * (1.0 - s.yawRate / 900.0); });
    number(bus, "Wheel.FrontRight", "Wheel speed front right", "km/h", 2,
           [](const DriveState& s) { return s.speed * (1.0 + s.yawRate / 900.0); });
    number(bus, "Wheel.RearLeft", "Wheel speed rear left", "km/h", 2,
           [](const DriveState& s) { return s.speed * (1.0 - s.yawRate / 1000.0); });
    number(bus, "Wheel.RearRight", "Wheel speed rear right", "km/h", 2,
           [](const DriveState& s) { return s.speed * (1.0 + s.yawRate / 1000.0); });
    number(bus, "Steering.Angle", "Steering wheel angle", "\u00B0", 1,
           [](const DriveState& s) { return s.steering; });
    state(bus, "Steering.Side", "Steering to", {{0, "left"}, {1, "straight"}, {2, "right"}},
          [](const DriveState& s) {
              return std::uint64_t{s.steering < -2.0 ? 2U : s.steering > 2.0 ? 0U : 1U};
          });
    number(bus, "Supply.Voltage", "Supply voltage", "V", 2,
           [](const DriveState& s) { return s.battery; });
}

void DriveSignals::addDynamics() {
    const Place& bus = kDynamics;
    number(bus, "Dynamics.Longitudinal", "Acceleration along", "m/s\u00B2", 3,
           [](const DriveState& s) { return s.acceleration; });
    number(bus, "Dynamics.Lateral", "Acceleration across", "m/s\u00B2", 3,
           [](const DriveState& s) { return s.lateral; });
    number(bus, "Dynamics.YawRate", "Yaw rate", "\u00B0/s", 3,
           [](const DriveState& s) { return s.yawRate; });
    number(bus, "Brake.Pressure", "Brake pressure", "bar", 2,
           [](const DriveState& s) { return s.brakePressure; });
    number(bus, "Suspension.Pitch", "Pitch", "\u00B0", 3,
           [](const DriveState& s) { return -0.4 * s.acceleration; });
    number(bus, "Suspension.Roll", "Roll", "\u00B0", 3,
           [](const DriveState& s) { return 0.35 * s.lateral; });
}

void DriveSignals::addComfort() {
    const Place& bus = kComfort;
    number(bus, "Climate.Cabin", "Cabin temperature", "\u00B0C", 1,
           [](const DriveState& s) { return s.cabin; });
    state(bus, "Climate.Fan", "Fan", {{0, "off"}, {1, "low"}, {2, "medium"}, {3, "high"}},
          [](const DriveState& s) {
              return std::uint64_t{s.cabin < 18.0 ? 3U : s.cabin < 20.0 ? 2U : 1U};
          });
    number(bus, "Rain.Intensity", "Rain", "%", 0, [](const DriveState& s) { return s.rain; });
    state(
        bus, "Wiper.State", "Wiper", {{0, "off"}, {1, "interval"}, {2, "slow"}, {3, "fast"}},
        [](const DriveState& s) {
            return std::uint64_t{s.rain > 80.0 ? 3U : s.rain > 40.0 ? 2U : s.rain > 5.0 ? 1U : 0U};
        });
    state(bus, "Light.Low", "Low beam", {{0, "off"}, {1, "on"}},
          [](const DriveState& s) { return std::uint64_t{s.rain > 0.0 ? 1U : 0U}; });
}

void DriveSignals::addInfotainment() {
    const Place& bus = kInfotainment;
    text(bus, "Navigation.Road", "Road", [](const DriveState& s) { return std::string(s.road); });
    text(bus, "Navigation.Advice", "Advice", [](const DriveState& s) {
        return std::string(s.speed < 0.5        ? "wait"
                           : s.steering > 15.0  ? "turn left"
                           : s.steering < -15.0 ? "turn right"
                                                : "go straight on");
    });
    text(bus, "Vehicle.Identification", "Vehicle",
         [](const DriveState&) { return std::string("DESK-0001"); });
    state(bus, "Assistant.Lane", "Lane assistant", {{0, "off"}, {1, "ready"}, {2, "active"}},
          [](const DriveState& s) {
              return std::uint64_t{s.speed > 65.0 ? 2U : s.speed > 0.5 ? 1U : 0U};
          });
    number(bus, "Radio.Volume", "Radio volume", "dB", 1,
           [](const DriveState& s) { return -42.0 + s.speed / 10.0; });
}

SignalConfig& DriveSignals::add(const Place& place, const char* name, const char* userName,
                                Reader reader) {
    SignalConfig& config = configs_.emplace_back();
    config.webappName = name;
    config.instanceName = std::string(place.segment) + "." + name;
    config.userName = userName;
    config.busId = place.bus;
    config.channel = place.channel;
    config.scale = 1.0;
    readers_.push_back(std::move(reader));
    return config;
}

void DriveSignals::number(const Place& place, const char* name, const char* userName,
                          const char* unit, int digits, double (*value)(const DriveState&)) {
    SignalConfig& config =
        add(place, name, userName,
            [digits, value](const DriveState& state, std::size_t signal, const SignalConfig&) {
                return numberReading(signal, value(state), digits);
            });
    config.unit = unit;
    config.valueType = SIGNALVALUE_DOUBLE;
}

void DriveSignals::state(const Place& place, const char* name, const char* userName, Table texts,
                         std::uint64_t (*raw)(const DriveState&)) {
    SignalConfig& config =
        add(place, name, userName,
            [raw](const DriveState& state, std::size_t signal, const SignalConfig& own) {
                return rawReading(signal, raw(state), own);
            });
    config.valueType = SIGNALVALUE_UNSIGNED;
    config.valueDescriptionTable = std::move(texts);
}

void DriveSignals::text(const Place& place, const char* name, const char* userName,
                        std::string (*value)(const DriveState&)) {
    SignalConfig& config =
        add(place, name, userName,
            [value](const DriveState& state, std::size_t signal, const SignalConfig&) {
                return textReading(signal, value(state));
            });
    config.valueType = SIGNALVALUE_STRING;
}

}  // namespace desk
