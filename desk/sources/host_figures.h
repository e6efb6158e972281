// This machine's figures, as the kernel gives them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace desk {

/// The time that a processor has spent since the machine's start, in ticks.
struct ProcessorTimes {
    std::uint64_t busy = 0;
    std::uint64_t total = 0;
};

struct InterfaceBytes {
    std::uint64_t received = 0;
    std::uint64_t sent = 0;
};

struct HostFigures {
    std::vector<ProcessorTimes> processors;  // all of them together, then each one
    std::uint64_t memoryTotal = 0;           // KiB
    std::uint64_t memoryAvailable = 0;       // KiB
    std::vector<double> loads;               // averages over 1, 5 and 15 minutes
    std::uint64_t processes = 0;
    double uptime = 0.0;                     // seconds
    std::vector<double> temperatures;        // degrees Celsius, in the order of hostSensors()
    std::vector<InterfaceBytes> interfaces;  // in the order given
};

/// A temperature sensor: its name, and the file that holds thousandths of degrees.
struct HostSensor {
    std::string name;
    std::filesystem::path file;
};

/// The temperature sensors below `root`; none on many virtual machines.
std::vector<HostSensor> hostSensors(const std::filesystem::path& root = "/");
/// The names of the network interfaces, sorted; "lo" is one of them.
std::vector<std::string> hostInterfaces(const std::filesystem::path& root = "/");
/// The figures at this moment. What cannot be read is 0.
HostFigures readHostFigures(const std::vector<HostSensor>& sensors,
                            const std::vector<std::string>& interfaces,
                            const std::filesystem::path& root = "/");

}  // namespace desk
