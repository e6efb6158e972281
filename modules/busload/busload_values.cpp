#include "modules/busload/busload_values.h"

#include <map>
#include <string_view>
#include <tuple>

#include "base/mutex.h"
#include "modules/busload/bus_vocabulary.h"
#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_responses.h"

namespace {

using Bus = KRPResponseGetBusNames::busName_t;

/// Orders keys, and what stands for one without owning the logger's name.
struct BusKeyLess {
    using is_transparent = void;

    template <class Left, class Right>
    bool operator()(const Left& left, const Right& right) const {
        const int loggers = std::string_view(std::get<0>(left)).compare(std::get<0>(right));
        return loggers != 0 ? loggers < 0
                            : std::tie(std::get<1>(left), std::get<2>(left)) <
                                  std::tie(std::get<1>(right), std::get<2>(right));
    }
};

using BusMap = std::map<BusKey, BusloadData, BusKeyLess>;

/// The buses grow with every catalogue and are never forgotten while the process lives.
struct Values {
    Mutex mutex;
    BusMap buses GUARDED_BY(mutex);
    std::map<std::string, GpsData> gps GUARDED_BY(mutex);
};

/// Never destroyed: the bus thread may still use it while the process ends.
Values& values() {
    static auto* const all = new Values;
    return *all;
}

BusloadData unknownBus(const Bus& bus) {
    BusloadData data;
    data.busId = bus.busId;
    data.channel = bus.channel;
    data.kslOffset = bus.kslOffset;
    data.name = bus.name;
    return data;
}

GpsData unknownGps(const Bus& bus) {
    GpsData data;
    data.name = "GPS";
    data.channel = bus.channel;
    data.kslOffset = bus.kslOffset;
    return data;
}

/// A bus that is known already stays as it stands. A logger has a GPS receiver when its catalogue
/// lists one.
void addBuses(Values& all, const BusInfo::BusnamesMap& catalogue) REQUIRES(all.mutex) {
    for (const auto& [logger, answer] : catalogue) {
        for (const Bus& bus : answer->busNames) {
            all.buses.try_emplace(BusKey(logger, bus.busId, bus.channel), unknownBus(bus));
            if (bus.busId == BUSID_GPS) {
                all.gps.try_emplace(logger, unknownGps(bus));
            }
        }
    }
}

/// The bus as it stands; only the loggers' marker, which a stop leaves alone, becomes "unknown"
/// here.
void showInitially(BusMap& buses, const std::string& logger, const Bus& bus) {
    const auto entry = buses.find(BusKey(logger, bus.busId, bus.channel));
    BusloadData& data = entry->second;
    if (data.value == BusLoadExtMessage::kMarker) {
        data.value = BusLoadExtMessage::kUnknown;
    }
    sendResponse<WaResponseBusload>(entry->first, data);
}

}  // namespace

/// Figures are not held back while the module is stopped, on purpose: one that was on its way when
/// the browser stopped may follow the stop's answer.
void updateBusValue(const BusLoadExtMessage* message, const std::string& source) {
    Values& all = values();
    const MutexLocker lock(all.mutex);
    if (isMostBus(message->busId)) {
        sendResponse<WaResponseBusloadMost>(message, source);
        return;
    }
    const auto entry =
        all.buses.find(std::tuple(std::string_view(source), message->busId, message->channel));
    if (entry == all.buses.end() || entry->second.value == message->value) {
        return;
    }
    BusloadData& data = entry->second;
    data.value = message->value;
    data.timestamp = message->timestamp;
    data.unit = message->unit;
    sendResponse<WaResponseBusload>(entry->first, data);
}

/// Only another status counts, also after a stop and a new start: a stop makes the value unknown
/// but keeps the status, and the value then stays unknown until the status changes. Kept on
/// purpose: the browser is told of changes, and there was none.
void updateBusValueGps(const GPSTraceMessage* message, const std::string& source) {
    Values& all = values();
    const MutexLocker lock(all.mutex);
    const auto entry = all.gps.find(source);
    if (entry == all.gps.end() || entry->second.gprmcStatus == message->gprmcStatus) {
        return;
    }
    GpsData& data = entry->second;
    data.gprmcStatus = message->gprmcStatus;
    data.value = data.gprmcStatus == "A" ? GpsData::kFix : BusLoadExtMessage::kUnknown;
    data.timestamp = message->timestamp;
    data.changed = true;
    sendResponse<WaResponseBusloadGps>(&data);
}

void sendBusValues() {
    Values& all = values();
    const MutexLocker lock(all.mutex);
    for (const auto& [key, data] : all.buses) {
        sendResponse<WaResponseBusload>(key, data);
    }
}

void addCatalogueBuses() {
    const BusInfo::BusnamesMap catalogue = busInfo->getBusnamesMap();
    Values& all = values();
    const MutexLocker lock(all.mutex);
    addBuses(all, catalogue);
}

void sendInitialValues() {
    const BusInfo::BusnamesMap catalogue = busInfo->getBusnamesMap();
    Values& all = values();
    const MutexLocker lock(all.mutex);
    addBuses(all, catalogue);
    for (const auto& [logger, answer] : catalogue) {
        for (const Bus& bus : answer->busNames) {
            showInitially(all.buses, logger, bus);
        }
    }
    for (const auto& [logger, data] : all.gps) {
        sendResponse<WaResponseBusloadGps>(&data);
    }
}

/// Fixed by the protocol: the loggers' marker stays, and the GPS states are not shown here. The
/// next sendInitialValues() makes the one unknown and shows the other.
void busloadSetUnknown() {
    Values& all = values();
    const MutexLocker lock(all.mutex);
    for (auto& [key, data] : all.buses) {
        if (data.value != BusLoadExtMessage::kMarker) {
            data.value = BusLoadExtMessage::kUnknown;
            sendResponse<WaResponseBusload>(key, data);
        }
    }
    for (auto& [logger, data] : all.gps) {
        if (data.value != BusLoadExtMessage::kMarker) {
            data.value = BusLoadExtMessage::kUnknown;
        }
    }
}
