// The titles of those columns of a recording that hold bus loads.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "desk/sources/recording.h"

namespace desk {

// "BUSID_CAN 1 Powertrain", with the unit "UNIT_PERCENT" or none: the kind, the channel counted
// from 1 and the name of a bus. Nothing when `title` does not begin with the kind of a bus and a
// blank. Throws std::invalid_argument when what follows is wrong.
std::optional<Recording::Bus> readBusTitle(std::string_view title, std::string_view unit);

}  // namespace desk
