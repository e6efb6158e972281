// The CAN buses of a vehicle and their loads.
#pragma once

#include <memory>
#include <vector>

#include "desk/sources/bus_source.h"
#include "desk/sources/can_feed.h"

namespace desk {

/// A bus for each interface of a feed. Its load is that of the last second, in percent, as its
/// frames' bits make it; unknown while the interface is down and when the input has ended.
class CanBuses : public BusSource {
  public:
    explicit CanBuses(std::shared_ptr<CanFeed> feed) : feed_(std::move(feed)) { list(); }

    const std::vector<Bus>& buses() const override { return buses_; }
    void list() override;
    void begin() override { feed_->start(); }
    void read(Duration time, std::vector<BusReading>& readings) override;

  private:
    const std::shared_ptr<CanFeed> feed_;
    std::vector<Bus> buses_;
};

}  // namespace desk
