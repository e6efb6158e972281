#include "desk/sources/recording_buses.h"

#include <utility>

namespace desk {

RecordingBuses::RecordingBuses(std::shared_ptr<const Recording> recording)
    : recording_(std::move(recording)),
      round_(recording_->rows.back().time +
             untilRowAfter(*recording_, recording_->rows.size() - 1)) {
    for (const Recording::Bus& bus : recording_->buses) {
        buses_.push_back({{bus.id, bus.channel, 0, bus.name}, true});
    }
    begin();
}

void RecordingBuses::begin() {
    latest_.assign(buses_.size(), std::nullopt);
    next_ = 0;
    roundBegin_ = Duration(0);
}

void RecordingBuses::read(Duration time, std::vector<BusReading>& readings) {
    const std::vector<Recording::Row>& rows = recording_->rows;
    if (time - roundBegin_ > 2 * round_) {
        roundBegin_ += (time - roundBegin_) / round_ * round_ - round_;  // rounds nobody saw
    }
    while (roundBegin_ + rows[next_].time <= time) {
        for (std::size_t i = 0; i < latest_.size(); ++i) {
            const auto& load = rows[next_].loads[i];
            latest_[i] = load ? load : latest_[i];
        }
        if (++next_ == rows.size()) {
            next_ = 0;
            roundBegin_ += round_;
        }
    }
    for (std::size_t i = 0; i < latest_.size(); ++i) {
        if (latest_[i]) {
            readings.push_back({i, *latest_[i], recording_->buses[i].unit, std::nullopt});
        }
    }
}

}  // namespace desk
