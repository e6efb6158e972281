#include "desk/sources/host_buses.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace desk {

namespace {

constexpr std::size_t kMostChannels = 256;

/// A shorter mean would say more about the clock than about the load.
constexpr std::chrono::milliseconds kShortestMean{50};

std::vector<std::string> firstInterfaces(const std::filesystem::path& root) {
    std::vector<std::string> interfaces = hostInterfaces(root);
    interfaces.resize(std::min(interfaces.size(), kMostChannels));
    return interfaces;
}

/// A counter that went back was set to 0 by its owner.
double growth(std::uint64_t before, std::uint64_t now) {
    return static_cast<double>(now >= before ? now - before : now);
}

}  // namespace

BusReading byteLoad(std::size_t bus, double bytesPerSecond) {
    constexpr std::array kUnits = {
        BusLoadExtMessage::UNIT_BYTES_SEC, BusLoadExtMessage::UNIT_KBYTES_SEC,
        BusLoadExtMessage::UNIT_MBYTES_SEC, BusLoadExtMessage::UNIT_GBYTES_SEC};
    std::size_t unit = 0;
    while (bytesPerSecond >= 1e6 && unit + 1 < kUnits.size()) {
        bytesPerSecond /= 1000.0;
        ++unit;
    }
    constexpr double kLargest = std::numeric_limits<std::int32_t>::max();
    BusReading reading;
    reading.bus = bus;
    reading.value =
        static_cast<std::int32_t>(std::clamp(std::round(bytesPerSecond), 0.0, kLargest));
    reading.unit = kUnits[unit];
    return reading;
}

HostBuses::HostBuses(std::filesystem::path root)
    : root_(std::move(root)), interfaces_(firstInterfaces(root_)) {
    for (std::size_t i = 0; i < interfaces_.size(); ++i) {
        buses_.push_back(
            {{BUSID_ETHERNET, static_cast<unsigned char>(i), 0, interfaces_[i]}, true});
    }
    begin();
}

void HostBuses::begin() {
    last_ = readBytes();
    lastRead_ = Clock::now();
}

void HostBuses::read(Duration, std::vector<BusReading>& readings) {
    const auto now = Clock::now();
    if (now - lastRead_ < kShortestMean) {
        return;
    }
    const double seconds = std::chrono::duration<double>(now - lastRead_).count();
    std::vector<InterfaceBytes> bytes = readBytes();
    for (std::size_t i = 0; i < interfaces_.size(); ++i) {
        readings.push_back(byteLoad(i, bytesBetween(i, last_[i], bytes[i]) / seconds));
    }
    last_ = std::move(bytes);
    lastRead_ = now;
}

std::vector<InterfaceBytes> HostBuses::readBytes() const {
    return readHostFigures({}, interfaces_, root_).interfaces;
}

/// What the loopback interface sends it receives itself.
double HostBuses::bytesBetween(std::size_t interface, const InterfaceBytes& before,
                               const InterfaceBytes& now) const {
    const double received = growth(before.received, now.received);
    return interfaces_[interface] == "lo" ? received : received + growth(before.sent, now.sent);
}

}  // namespace desk
