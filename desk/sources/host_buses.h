// This machine's network interfaces as buses.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "desk/loop/agenda.h"
#include "desk/sources/bus_source.h"
#include "desk/sources/host_figures.h"

namespace desk {

/// Every network interface is an Ethernet bus, numbered as the signals number them. Its load are
/// the bytes that it receives and sends, as a mean since the last reading, in the unit that fits
/// the figure.
class HostBuses : public BusSource {
  public:
    explicit HostBuses(std::filesystem::path root = "/");

    const std::vector<Bus>& buses() const override { return buses_; }
    void begin() override;
    void read(Duration time, std::vector<BusReading>& readings) override;

  private:
    std::vector<InterfaceBytes> readBytes() const;
    double bytesBetween(std::size_t interface, const InterfaceBytes& before,
                        const InterfaceBytes& now) const;

    const std::filesystem::path root_;
    const std::vector<std::string> interfaces_;
    std::vector<Bus> buses_;
    std::vector<InterfaceBytes> last_;
    Clock::time_point lastRead_;
};

/// A load in bytes per second: in thousands of the next smaller unit from 1 000 000 of that on.
BusReading byteLoad(std::size_t bus, double bytesPerSecond);

}  // namespace desk
