#include "desk/sources/host_signals.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"

namespace desk {

namespace {

double percent(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

/// A counter that went back was set to 0 by its owner.
std::uint64_t growth(std::uint64_t before, std::uint64_t now) {
    return now >= before ? now - before : now;
}

double loadBetween(const ProcessorTimes& before, const ProcessorTimes& now) {
    return std::clamp(percent(growth(before.busy, now.busy), growth(before.total, now.total)), 0.0,
                      100.0);
}

double kilobytesPerSecond(std::uint64_t before, std::uint64_t now, double seconds) {
    return static_cast<double>(growth(before, now)) / 1000.0 / seconds;
}

}  // namespace

HostSignals::HostSignals(std::filesystem::path root)
    : root_(std::move(root)),
      sensors_(hostSensors(root_)),
      interfaces_(hostInterfaces(root_)),
      last_(readHostFigures(sensors_, interfaces_, root_)),
      lastRead_(Clock::now()),
      loads_(last_.processors.size()),
      speeds_(2 * interfaces_.size()) {
    add("Processor.All", "%", SIGNALVALUE_DOUBLE);
    for (std::size_t i = 1; i < last_.processors.size(); ++i) {
        add("Processor." + std::to_string(i - 1), "%", SIGNALVALUE_DOUBLE);
    }
    add("Memory.Used", "%", SIGNALVALUE_DOUBLE);
    add("Memory.Available", "KiB", SIGNALVALUE_UNSIGNED);
    add("Load.1min", "", SIGNALVALUE_DOUBLE);
    add("Load.5min", "", SIGNALVALUE_DOUBLE);
    add("Load.15min", "", SIGNALVALUE_DOUBLE);
    add("Processes", "", SIGNALVALUE_UNSIGNED);
    add("Uptime", "s", SIGNALVALUE_DOUBLE);
    for (const HostSensor& sensor : sensors_) {
        add("Temperature." + sensor.name,
            "\xC2\xB0"
            "C",
            SIGNALVALUE_DOUBLE);
    }
    for (std::size_t i = 0; i < interfaces_.size(); ++i) {
        const auto channel = static_cast<std::uint8_t>(i);
        add("Network." + interfaces_[i] + ".Received", "kB/s", SIGNALVALUE_DOUBLE, BUSID_ETHERNET,
            channel);
        add("Network." + interfaces_[i] + ".Sent", "kB/s", SIGNALVALUE_DOUBLE, BUSID_ETHERNET,
            channel);
    }
}

/// Two sensors may have one name; signals may not.
void HostSignals::add(const std::string& name, const std::string& unit, signalValue_t type,
                      busid_t bus, std::uint8_t channel) {
    const auto same =
        std::count_if(configs_.begin(), configs_.end(),
                      [&](const SignalConfig& config) { return config.userName == name; });
    SignalConfig config;
    config.webappName = same == 0 ? name : name + " (" + std::to_string(same + 1) + ")";
    config.instanceName = "Host." + config.webappName;
    config.userName = name;
    config.unit = unit;
    config.busId = bus;
    config.channel = channel;
    config.valueType = type;
    config.scale = 1.0;
    configs_.push_back(std::move(config));
}

void HostSignals::begin() {
    last_ = readHostFigures(sensors_, interfaces_, root_);
    lastRead_ = Clock::now();
}

void HostSignals::updateMeans() {
    const auto now = Clock::now();
    if (now - lastRead_ < kShortestMean) {
        return;
    }
    const double seconds = std::chrono::duration<double>(now - lastRead_).count();
    HostFigures figures = readHostFigures(sensors_, interfaces_, root_);
    // A processor may be switched off and on.
    for (std::size_t i = 0; i < loads_.size(); ++i) {
        loads_[i] = i < last_.processors.size() && i < figures.processors.size()
                        ? loadBetween(last_.processors[i], figures.processors[i])
                        : 0.0;
    }
    for (std::size_t i = 0; i < interfaces_.size(); ++i) {
        const InterfaceBytes& before = last_.interfaces[i];
        const InterfaceBytes& after = figures.interfaces[i];
        speeds_[2 * i] = kilobytesPerSecond(before.received, after.received, seconds);
        speeds_[2 * i + 1] = kilobytesPerSecond(before.sent, after.sent, seconds);
    }
    last_ = std::move(figures);
    lastRead_ = now;
}

/// In the order of the constructor. The figures are those of now, whichever time was asked for.
std::optional<SignalSource::Duration> HostSignals::read(Duration,
                                                        std::vector<SignalReading>& readings) {
    updateMeans();
    const auto first = static_cast<std::ptrdiff_t>(readings.size());
    std::size_t signal = 0;
    const auto number = [&](double value, int digits) {
        readings.push_back(numberReading(signal++, value, digits));
    };
    if (loads_.empty()) {
        number(0.0, 1);
    }
    for (const double load : loads_) {
        number(load, 1);
    }
    number(percent(last_.memoryTotal - std::min(last_.memoryAvailable, last_.memoryTotal),
                   last_.memoryTotal),
           1);
    readings.push_back(rawReading(signal, last_.memoryAvailable, configs_[signal]));
    ++signal;
    for (const double load : last_.loads) {
        number(load, 2);
    }
    readings.push_back(rawReading(signal, last_.processes, configs_[signal]));
    ++signal;
    number(last_.uptime, 1);
    for (const double temperature : last_.temperatures) {
        number(temperature, 1);
    }
    for (const double speed : speeds_) {
        number(speed, 2);
    }
    const std::uint64_t now = getTimeOfDay();
    std::for_each(readings.begin() + first, readings.end(),
                  [now](SignalReading& reading) { reading.time = now; });
    return std::nullopt;
}

}  // namespace desk
