#include "desk/sources/can_buses.h"

#include <cmath>

namespace desk {

void CanBuses::list() {
    const std::vector<std::string> names = feed_->interfaces();
    for (std::size_t i = buses_.size(); i < names.size(); ++i) {
        buses_.push_back({{BUSID_CAN, static_cast<unsigned char>(i), 0, names[i]}, true});
    }
}

void CanBuses::read(Duration, std::vector<BusReading>& readings) {
    feed_->poll();
    for (std::size_t i = 0; i < buses_.size(); ++i) {
        const auto load = feed_->load(i);
        BusReading reading;
        reading.bus = i;
        reading.value = load ? static_cast<std::int32_t>(std::lround(*load))
                             : BusLoadExtMessage::kUnknown;
        readings.push_back(reading);
    }
}

}  // namespace desk
