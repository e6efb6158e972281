// Where a desk logger's buses and their loads come from.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/krp_get_bus_names.h"

namespace desk {

/// One bus. Its channel is this logger's own.
struct Bus {
    KRPResponseGetBusNames::busName_t name;
    bool inUse = true;  // belongs to the buses that are active
};

/// The load of one bus.
struct BusReading {
    std::size_t bus = 0;  // its place among the source's buses
    std::int32_t value = 0;
    BusLoadExtMessage::unit_t unit = BusLoadExtMessage::UNIT_PERCENT;
    std::optional<BusLoadExtMessage::most_t> most;  // of a MOST bus
};

/// What a GPS receiver says.
struct GpsReading {
    bool hasFix = false;
    double latitude = 0.0;   // degrees, north positive
    double longitude = 0.0;  // degrees, east positive
};

/// Buses and their loads. One thread.
class BusSource {
  public:
    using Duration = std::chrono::microseconds;

    BusSource() = default;
    virtual ~BusSource() = default;
    BusSource(const BusSource&) = delete;
    BusSource& operator=(const BusSource&) = delete;

    /// The buses that have been listed.
    virtual const std::vector<Bus>& buses() const = 0;

    /// The buses are about to be named to somebody: new ones may be added behind those there are.
    virtual void list() {}

    /// Loads are wanted from now on: time begins anew.
    virtual void begin() = 0;

    /// Appends the loads at this time since begin().
    virtual void read(Duration time, std::vector<BusReading>& readings) = 0;

    /// The GPS receiver at this time since begin(); nothing where there is none.
    virtual std::optional<GpsReading> readGps(Duration) { return std::nullopt; }
};

}  // namespace desk
