#include "desk/sources/bus_source.h"

#include "desk/sources/drive_buses.h"
#include "desk/sources/host_buses.h"
#include "desk/sources/recording_buses.h"

namespace desk {

std::unique_ptr<BusSource> makeBusSource(const Source& source) {
    switch (source.kind) {
        case Source::Kind::Drive:
            return std::make_unique<DriveBuses>();
        case Source::Kind::Recording:
            return std::make_unique<RecordingBuses>(source.recording);
        case Source::Kind::Host:
            break;
    }
    return std::make_unique<HostBuses>();
}

}  // namespace desk
