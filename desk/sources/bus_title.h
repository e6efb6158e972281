// The titles of those columns of a recording that hold bus loads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/busload_message.h"

namespace desk {

/// A bus whose loads a column holds.
struct RecordedBus {
    busid_t id = BUSID_UNKNOWN;
    std::uint8_t channel = 0;  // counted from 0
    std::string name;
    BusLoadExtMessage::unit_t unit = BusLoadExtMessage::UNIT_NONE;
};

/// "BUSID_CAN 1 Powertrain", with the unit "UNIT_PERCENT" or none: the kind, the channel counted
/// from 1 and the name of a bus. Nothing when `title` does not begin with the kind of a bus and a
/// blank. Throws std::invalid_argument when what follows is wrong.
std::optional<RecordedBus> readBusTitle(std::string_view title, std::string_view unit);

}  // namespace desk
