// Bus loads that come from a recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "desk/sources/bus_source.h"
#include "desk/sources/recording.h"

namespace desk {

/// Plays the loads of a recording at the speed of its times, in a loop: of each bus the newest one
/// that has been recorded by the time of the reading, and nothing before the first one.
class RecordingBuses : public BusSource {
  public:
    explicit RecordingBuses(std::shared_ptr<const Recording> recording);

    const std::vector<Bus>& buses() const override { return buses_; }
    void begin() override;
    void read(Duration time, std::vector<BusReading>& readings) override;

  private:
    const std::shared_ptr<const Recording> recording_;
    const Duration round_;  // how long one round of the loop takes
    std::vector<Bus> buses_;
    std::vector<std::optional<std::int32_t>> latest_;  // of each bus
    std::size_t next_ = 0;                             // the first row that is not in latest_
    Duration roundBegin_{0};
};

}  // namespace desk
