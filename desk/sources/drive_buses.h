// The buses of a vehicle on a test drive.
#pragma once

#include <vector>

#include "desk/sources/bus_source.h"

namespace desk {

/// The buses that the drive's signals come from, a spare CAN bus that is not in use, a MOST ring
/// and a GPS receiver. The ring loses its locks for some seconds of each minute; the receiver needs
/// a moment for its first fix and loses it in a tunnel. The same time always gives the same
/// figures.
class DriveBuses : public BusSource {
  public:
    DriveBuses();

    const std::vector<Bus>& buses() const override { return buses_; }
    void begin() override {}
    void read(Duration time, std::vector<BusReading>& readings) override;
    std::optional<GpsReading> readGps(Duration time) override;

  private:
    std::vector<Bus> buses_;
};

}  // namespace desk
