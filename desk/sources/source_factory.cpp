#include "desk/sources/source_factory.h"

#include <utility>

#include "desk/sources/can_buses.h"
#include "desk/sources/can_signals.h"
#include "desk/sources/drive_buses.h"
#include "desk/sources/drive_signals.h"
#include "desk/sources/gps_data.h"
#include "desk/sources/host_buses.h"
#include "desk/sources/host_signals.h"
#include "desk/sources/recording_buses.h"
#include "desk/sources/recording_signals.h"

namespace desk {

namespace {

constexpr double kUsualCanRate = 10.0;

std::unique_ptr<SignalSource> signalsOf(const Source& source, std::optional<double> rate) {
    switch (source.kind) {
        case Source::Kind::Drive:
            return std::make_unique<DriveSignals>();
        case Source::Kind::Recording:
            return std::make_unique<RecordingSignals>(source.recording);
        case Source::Kind::Can:
            return std::make_unique<CanSignals>(source.can, rate.value_or(kUsualCanRate));
        case Source::Kind::Host:
            break;
    }
    return std::make_unique<HostSignals>();
}

std::unique_ptr<BusSource> busesOf(const Source& source) {
    switch (source.kind) {
        case Source::Kind::Drive:
            return std::make_unique<DriveBuses>();
        case Source::Kind::Recording:
            return std::make_unique<RecordingBuses>(source.recording);
        case Source::Kind::Can:
            return std::make_unique<CanBuses>(source.can);
        case Source::Kind::Host:
            break;
    }
    return std::make_unique<HostBuses>();
}

}  // namespace

std::unique_ptr<SignalSource> makeSignalSource(const Source& source, std::optional<double> rate) {
    auto signals = signalsOf(source, rate);
    if (source.gps) {
        signals = std::make_unique<SignalsWithGps>(std::move(signals), source.gps);
    }
    return signals;
}

std::optional<double> readingRate(const Source& source, std::optional<double> rate) {
    return source.kind == Source::Kind::Can ? std::nullopt : rate;
}

std::unique_ptr<BusSource> makeBusSource(const Source& source) {
    auto buses = busesOf(source);
    if (source.gps) {
        buses = std::make_unique<BusesWithGps>(std::move(buses), source.gps);
    }
    return buses;
}

}  // namespace desk
