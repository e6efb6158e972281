#include "desk/sources/drive_buses.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "desk/sources/drive_model.h"

namespace desk {

namespace {

using Message = BusLoadExtMessage;

/// The places of the buses in the list.
enum Place : std::size_t {
    kPowertrain,
    kChassis,
    kSpare,
    kComfort,
    kDynamics,
    kInfotainment,
    kRing,
    kReceiver,
};

constexpr double kFirstFix = 3.0;  // seconds from the start to the first fix

double secondsOf(BusSource::Duration time) {
    return std::chrono::duration<double>(time).count();
}

BusReading percent(std::size_t bus, double load) {
    BusReading reading;
    reading.bus = bus;
    reading.value = static_cast<std::int32_t>(std::clamp(std::round(load), 0.0, 100.0));
    return reading;
}

BusReading kilobytes(std::size_t bus, double load) {
    BusReading reading;
    reading.bus = bus;
    reading.value = static_cast<std::int32_t>(std::max(std::round(load), 0.0));
    reading.unit = Message::UNIT_KBYTES_SEC;
    return reading;
}

/// A wave between -1 and 1, so that no load stands still.
double wave(double seconds, double period) {
    return std::sin(2.0 * std::numbers::pi * seconds / period);
}

void setLocks(Message::most_t& most, double secondOfMinute) {
    most.lock = Message::MOSTLOCK_LOCK;
    most.masterLock = Message::MOSTLOCK_LOCK;
    most.traffic = true;
    if (secondOfMinute >= 50.0 && secondOfMinute < 53.0) {
        most.lock = Message::MOSTLOCK_UNLOCK;
    } else if (secondOfMinute >= 53.0 && secondOfMinute < 55.0) {
        most.lock = Message::MOSTLOCK_UNLOCK;
        most.masterLock = Message::MOSTLOCK_UNLOCK;
    } else if (secondOfMinute >= 55.0 && secondOfMinute < 57.0) {
        most.lock = Message::MOSTLOCK_UNKNOWN;
        most.masterLock = Message::MOSTLOCK_UNKNOWN;
        most.traffic = false;
    }
}

Message::most_t mostFigures(double seconds) {
    Message::most_t most;
    setLocks(most, std::fmod(seconds, 60.0));
    most.busStatus = most.lock == Message::MOSTLOCK_LOCK ? 1 : 0;
    if (!most.traffic) {
        return most;
    }
    const auto messages = static_cast<std::uint32_t>(120.0 + 40.0 * wave(seconds, 7.0));
    most.numControlMsg = messages;
    most.bytesControlMsg = messages * 17;
    most.numMdpMsg = messages / 4;
    most.bytesMdpMsg = messages * 250;
    most.numMepMsg = messages / 2;
    most.bytesMepMsg = messages * 600;
    most.numStreamingCh = 4;
    most.streamingChSize = 48;
    return most;
}

BusReading ring(double seconds) {
    const Message::most_t most = mostFigures(seconds);
    BusReading reading = percent(kRing, most.traffic ? 35.0 + 10.0 * wave(seconds, 7.0) : 0.0);
    reading.most = most;
    return reading;
}

}  // namespace

DriveBuses::DriveBuses()
    : buses_{{{BUSID_CAN, 0, 0, "CAN1"}, true},         {{BUSID_CAN, 1, 0, "CAN2"}, true},
             {{BUSID_CAN, 2, 0, "CAN3"}, false},        {{BUSID_LIN, 0, 0, "LIN1"}, true},
             {{BUSID_FLEXRAY, 0, 0, "FlexRay1"}, true}, {{BUSID_ETHERNET, 0, 0, "Ethernet1"}, true},
             {{BUSID_MOST150, 0, 0, "MOST1"}, true},    {{BUSID_GPS, 0, 0, "GPS1"}, true}} {}

void DriveBuses::read(Duration time, std::vector<BusReading>& readings) {
    const DriveState state = DriveModel::at(time);
    const double seconds = secondsOf(time);
    readings.push_back(
        percent(kPowertrain, 28.0 + state.engineSpeed / 200.0 + 3.0 * wave(seconds, 1.7)));
    readings.push_back(percent(kChassis, 22.0 + std::abs(state.steering) / 6.0 +
                                             state.brakePressure / 4.0 + 2.0 * wave(seconds, 2.3)));
    readings.push_back(percent(kComfort, 12.0 + state.rain / 5.0 + 4.0 * wave(seconds, 5.0)));
    readings.push_back(percent(kDynamics, 55.0 + std::abs(state.lateral) * 3.0));
    readings.push_back(
        kilobytes(kInfotainment, 1800.0 + 15.0 * state.speed + 120.0 * wave(seconds, 3.1)));
    readings.push_back(ring(seconds));
    // What a receiver sends is a few sentences a second.
    readings.push_back(kilobytes(kReceiver, 1.0));
}

std::optional<GpsReading> DriveBuses::readGps(Duration time) {
    const double seconds = secondsOf(time);
    const double secondOfMinute = std::fmod(seconds, 60.0);
    GpsReading reading;
    reading.hasFix = seconds >= kFirstFix && !(secondOfMinute >= 40.0 && secondOfMinute < 48.0);
    const double angle = 2.0 * std::numbers::pi * seconds /
                         std::chrono::duration<double>(DriveModel::kRound).count();
    reading.latitude = 48.7 + 0.02 * std::sin(angle);
    reading.longitude = 9.1 + 0.03 * std::cos(angle);
    return reading;
}

}  // namespace desk
