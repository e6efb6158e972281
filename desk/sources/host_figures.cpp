#include "desk/sources/host_figures.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <system_error>

namespace desk {

namespace {

template <class Number>
Number readNumber(const std::filesystem::path& file) {
    std::ifstream stream(file);
    Number number{};
    stream >> number;
    return stream ? number : Number{};
}

std::string readLine(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

/// The names in a folder that begin so, sorted; none when there is no such folder.
std::vector<std::filesystem::path> entries(const std::filesystem::path& folder,
                                           const std::string& beginning) {
    std::vector<std::filesystem::path> found;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
        if (entry.path().filename().string().starts_with(beginning)) {
            found.push_back(entry.path());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

/// "cpu0 1234 0 567 8901 23 ..." The fourth number is idle time, the fifth waiting for a disk; the
/// last two are part of others.
ProcessorTimes timesOf(const std::string& line) {
    std::istringstream stream(line);
    std::string name;
    stream >> name;
    ProcessorTimes times;
    std::uint64_t ticks = 0;
    for (int column = 0; column < 8 && stream >> ticks; ++column) {
        times.total += ticks;
        times.busy += column == 3 || column == 4 ? 0 : ticks;
    }
    return times;
}

void readProcessors(const std::filesystem::path& root, HostFigures& figures) {
    std::ifstream stream(root / "proc/stat");
    for (std::string line; std::getline(stream, line) && line.starts_with("cpu");) {
        figures.processors.push_back(timesOf(line));
    }
}

void readMemory(const std::filesystem::path& root, HostFigures& figures) {
    std::ifstream stream(root / "proc/meminfo");
    std::string name;
    std::uint64_t size = 0;
    for (std::string line; std::getline(stream, line);) {
        std::istringstream(line) >> name >> size;
        if (name == "MemTotal:") {
            figures.memoryTotal = size;
        } else if (name == "MemAvailable:") {
            figures.memoryAvailable = size;
        }
    }
}

/// "0.20 0.18 0.12 1/80 11206"
void readLoad(const std::filesystem::path& root, HostFigures& figures) {
    figures.loads.assign(3, 0.0);
    std::ifstream stream(root / "proc/loadavg");
    std::uint64_t running = 0;
    char slash = 0;
    stream >> figures.loads[0] >> figures.loads[1] >> figures.loads[2] >> running >> slash >>
        figures.processes;
}

}  // namespace

std::vector<HostSensor> hostSensors(const std::filesystem::path& root) {
    std::vector<HostSensor> sensors;
    for (const auto& zone : entries(root / "sys/class/thermal", "thermal_zone")) {
        const std::string type = readLine(zone / "type");
        sensors.push_back({type.empty() ? zone.filename().string() : type, zone / "temp"});
    }
    for (const auto& chip : entries(root / "sys/class/hwmon", "hwmon")) {
        const std::string name = readLine(chip / "name");
        for (const auto& file : entries(chip, "temp")) {
            const std::string input = file.filename().string();
            if (input.ends_with("_input")) {
                const std::string sensor = input.substr(0, input.size() - 6);
                const std::string label = readLine(chip / (sensor + "_label"));
                sensors.push_back({name + " " + (label.empty() ? sensor : label), file});
            }
        }
    }
    return sensors;
}

std::vector<std::string> hostInterfaces(const std::filesystem::path& root) {
    std::vector<std::string> names;
    for (const auto& interface : entries(root / "sys/class/net", "")) {
        if (std::filesystem::exists(interface / "statistics")) {
            names.push_back(interface.filename().string());
        }
    }
    return names;
}

HostFigures readHostFigures(const std::vector<HostSensor>& sensors,
                            const std::vector<std::string>& interfaces,
                            const std::filesystem::path& root) {
    HostFigures figures;
    readProcessors(root, figures);
    readMemory(root, figures);
    readLoad(root, figures);
    figures.uptime = readNumber<double>(root / "proc/uptime");
    for (const HostSensor& sensor : sensors) {
        figures.temperatures.push_back(readNumber<double>(sensor.file) / 1000.0);
    }
    for (const std::string& name : interfaces) {
        const auto statistics = root / "sys/class/net" / name / "statistics";
        figures.interfaces.push_back({readNumber<std::uint64_t>(statistics / "rx_bytes"),
                                      readNumber<std::uint64_t>(statistics / "tx_bytes")});
    }
    return figures;
}

}  // namespace desk
