#include "desk/sources/gps_data.h"

#include <utility>

#include "krpbus/messages/signal_message.h"

namespace desk {

namespace {

constexpr double kMetresPerSecondToKmh = 3.6;
constexpr unsigned char kReceiver = 0;  // its channel

SignalConfig gpsSignal(const char* name, const char* unit) {
    SignalConfig config;
    config.webappName = std::string("GPS.") + name;
    config.instanceName = std::string("GPS.Receiver.") + name;
    config.userName = config.webappName;
    config.unit = unit;
    config.busId = BUSID_GPS;
    config.channel = kReceiver;
    config.valueType = SIGNALVALUE_DOUBLE;
    config.scale = 1.0;
    return config;
}

}  // namespace

SignalsWithGps::SignalsWithGps(std::unique_ptr<SignalSource> source,
                               std::shared_ptr<GpsdClient> gps)
    : source_(std::move(source)), gps_(std::move(gps)) {
    for (const auto& [name, unit] : {std::pair("Latitude", "\u00B0"),
                                     {"Longitude", "\u00B0"},
                                     {"Speed", "km/h"},
                                     {"Course", "\u00B0"}}) {
        configs_.push_back(gpsSignal(name, unit));
    }
    list();
}

/// The receiver's signals stand first, so that the other source's may grow.
void SignalsWithGps::list() {
    source_->list();
    const std::vector<SignalConfig>& others = source_->signals();
    for (std::size_t i = places_.size(); i < others.size(); ++i) {
        places_.push_back(configs_.size());
        configs_.push_back(others[i]);
    }
}

std::optional<SignalSource::Duration> SignalsWithGps::read(Duration time,
                                                           std::vector<SignalReading>& readings) {
    const std::size_t first = readings.size();
    const auto untilNext = source_->read(time, readings);
    std::size_t kept = first;
    for (std::size_t i = first; i < readings.size(); ++i) {
        if (readings[i].signal < places_.size()) {
            readings[i].signal = places_[readings[i].signal];
            std::swap(readings[kept++], readings[i]);
        }
    }
    readings.resize(kept);
    const GpsFix fix = gps_->fix();
    if (fix.isValid && fix.number != latest_) {
        latest_ = fix.number;
        readings.push_back(numberReading(0, fix.latitude, 7));
        readings.push_back(numberReading(1, fix.longitude, 7));
        if (fix.speed) {
            readings.push_back(numberReading(2, *fix.speed * kMetresPerSecondToKmh, 2));
        }
        if (fix.course) {
            readings.push_back(numberReading(3, *fix.course, 1));
        }
    }
    return untilNext;
}

BusesWithGps::BusesWithGps(std::unique_ptr<BusSource> source, std::shared_ptr<GpsdClient> gps)
    : source_(std::move(source)), gps_(std::move(gps)) {
    list();
}

void BusesWithGps::list() {
    source_->list();
    const std::vector<Bus>& others = source_->buses();
    for (std::size_t i = places_.size(); i < others.size(); ++i) {
        hasReceiver_ = hasReceiver_ || others[i].name.busId == BUSID_GPS;
        places_.push_back(buses_.size());
        buses_.push_back(others[i]);
    }
    if (!hasReceiver_ && gps_->wasThere()) {
        hasReceiver_ = true;
        buses_.push_back({{BUSID_GPS, kReceiver, 0, "GPS"}, true});
    }
}

void BusesWithGps::read(Duration time, std::vector<BusReading>& readings) {
    const std::size_t first = readings.size();
    source_->read(time, readings);
    for (std::size_t i = first; i < readings.size(); ++i) {
        readings[i].bus = places_[readings[i].bus];
    }
}

std::optional<GpsReading> BusesWithGps::readGps(Duration) {
    if (!gps_->wasThere()) {
        return std::nullopt;
    }
    const GpsFix fix = gps_->fix();
    return GpsReading{fix.isValid, fix.latitude, fix.longitude};
}

}  // namespace desk
