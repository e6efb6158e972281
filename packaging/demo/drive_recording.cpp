// Writes a round of the simulated drive as the frames of a CAN bus, in candump's format: each
// signal of a database that has the name of something in the drive is encoded as the database says.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "desk/dbc/decoder.h"
#include "desk/dbc/reader.h"
#include "desk/sources/drive_model.h"

namespace {

using desk::DriveState;
using std::chrono::microseconds;

constexpr microseconds kQuick{50'000};
constexpr microseconds kSlow{200'000};
constexpr std::uint64_t kBegin = 1'700'000'000;  // seconds since 1970

using Reader = std::function<double(const DriveState&)>;

/// What of the drive the signals are, by "Message.Signal".
const std::map<std::string, Reader>& readers() {
    static const std::map<std::string, Reader> all = {
        {"Engine.Speed", [](const DriveState& s) { return s.engineSpeed; }},
        {"Engine.Accelerator", [](const DriveState& s) { return s.accelerator; }},
        {"Engine.Coolant", [](const DriveState& s) { return s.coolant; }},
        {"Engine.Oil", [](const DriveState& s) { return s.oil; }},
        {"Engine.Fuel", [](const DriveState& s) { return s.fuel; }},
        {"Gearbox.Gear", [](const DriveState& s) { return static_cast<double>(s.gear); }},
        {"Wheels.FrontLeft", [](const DriveState& s) { return s.speed * (1 - s.yawRate / 900); }},
        {"Wheels.FrontRight", [](const DriveState& s) { return s.speed * (1 + s.yawRate / 900); }},
        {"Wheels.RearLeft", [](const DriveState& s) { return s.speed * (1 - s.yawRate / 1000); }},
        {"Wheels.RearRight", [](const DriveState& s) { return s.speed * (1 + s.yawRate / 1000); }},
        {"Dynamics.YawRate", [](const DriveState& s) { return s.yawRate; }},
        {"Dynamics.Lateral", [](const DriveState& s) { return s.lateral; }},
        {"Dynamics.Steering", [](const DriveState& s) { return s.steering; }},
        {"Dynamics.BrakePressure", [](const DriveState& s) { return s.brakePressure; }},
        {"Body.Rain", [](const DriveState& s) { return s.rain; }},
        {"Body.Cabin", [](const DriveState& s) { return s.cabin; }},
        {"Body.Battery", [](const DriveState& s) { return s.battery; }},
        {"Distance.Odometer", [](const DriveState& s) { return s.distance; }},
    };
    return all;
}

bool isQuick(const dbc::Message& message) {
    return message.name == "Engine" || message.name == "Wheels" || message.name == "Dynamics";
}

/// The signals of one page: those that the switch selects, and those that are always there.
std::vector<std::uint8_t> bytesOf(const dbc::Message& message, const DriveState& state,
                                  std::uint64_t page) {
    std::vector<std::uint8_t> bytes(message.size);
    const dbc::Decoder decoder(message);
    for (std::size_t i = 0; i < message.signals.size(); ++i) {
        const dbc::Signal& signal = message.signals[i];
        const auto reader = readers().find(message.name + "." + signal.name);
        if (signal.isSwitch) {
            decoder.encode(i, page, bytes);
        } else if (reader != readers().end() &&
                   (!signal.multiplexing || signal.multiplexing->ranges.front().first == page)) {
            decoder.encode(i, dbc::rawValue(signal, reader->second(state)), bytes);
        }
    }
    return bytes;
}

void write(const dbc::Message& message, microseconds time, std::uint64_t page) {
    const auto since = static_cast<std::uint64_t>(time.count());
    std::printf("(%010llu.%06llu) can0 ",
                static_cast<unsigned long long>(kBegin + since / 1'000'000),
                static_cast<unsigned long long>(since % 1'000'000));
    std::printf(message.isExtended ? "%08X#" : "%03X#", static_cast<unsigned int>(message.id));
    for (const std::uint8_t byte : bytesOf(message, desk::DriveModel::at(time), page)) {
        std::printf("%02X", static_cast<unsigned int>(byte));
    }
    std::putchar('\n');
}

void writeRound(const dbc::Database& database) {
    for (microseconds time{0}; time < desk::DriveModel::kRound; time += kQuick) {
        // Messages follow each other as closely as a bus lets them.
        microseconds delay{0};
        for (const dbc::Message& message : database.messages) {
            if (isQuick(message) || time % kSlow == microseconds(0)) {
                write(message, time + delay, static_cast<std::uint64_t>(time / kSlow) % 2);
                delay += microseconds(270);
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: drive_recording DATABASE > RECORDING\n";
        return 2;
    }
    try {
        writeRound(dbc::readDatabaseFile(argv[1]));
    } catch (const std::exception& failure) {
        std::cerr << "drive_recording: " << failure.what() << "\n";
        return 1;
    }
    return 0;
}
