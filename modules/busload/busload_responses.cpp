#include "modules/busload/busload_responses.h"

#include <optional>

#include "base/log.h"
#include "json/websocket_send.h"
#include "modules/busload/bus_vocabulary.h"
#include "modules/busload/busload_text.h"
#include "network/ksl_info.h"

namespace {

/// The name that a logger has given itself, which may be empty; nothing when the logger is not
/// known.
std::optional<std::string> displayName(const std::string& logger) {
    std::string name;
    if (kslInfo == nullptr || !kslInfo->getLoggerName(logger, name)) {
        return std::nullopt;
    }
    return name;
}

/// The ring without its lock has no name of its own when the master's state is not known: a master
/// without a ring has no lock either.
std::string mostStatusText(const BusLoadExtMessage::most_t& most) {
    const bool masterKnown = most.masterLock == BusLoadExtMessage::MOSTLOCK_LOCK ||
                             most.masterLock == BusLoadExtMessage::MOSTLOCK_UNLOCK;
    const std::string master =
        most.masterLock == BusLoadExtMessage::MOSTLOCK_LOCK ? "MASTER_LOCK" : "MASTER_UNLOCK";
    if (!most.traffic) {
        return "No Traffic";
    }
    switch (most.lock) {
        case BusLoadExtMessage::MOSTLOCK_LOCK:
            return masterKnown ? "MOST_LOCK - " + master : "MOST_LOCK";
        case BusLoadExtMessage::MOSTLOCK_UNLOCK:
            return "MOST_UNLOCK - " + master;
        default:
            return masterKnown ? master : "No Traffic";
    }
}

Value mostFigures(const BusLoadExtMessage::most_t& most, Document::AllocatorType& allocator) {
    Value figures(rapidjson::kObjectType);
    figures.AddMember("bus_status", static_cast<unsigned int>(most.busStatus), allocator);
    figures.AddMember("bus_status_string", Value(mostStatusText(most), allocator), allocator);
    figures.AddMember("num_control_msg", most.numControlMsg, allocator);
    figures.AddMember("bytes_control_msg", most.bytesControlMsg, allocator);
    figures.AddMember("num_mdp_msg", most.numMdpMsg, allocator);
    figures.AddMember("bytes_mdp_msg", most.bytesMdpMsg, allocator);
    figures.AddMember("num_mep_msg", most.numMepMsg, allocator);
    figures.AddMember("bytes_mep_msg", most.bytesMepMsg, allocator);
    figures.AddMember("num_streaming_ch", most.numStreamingCh, allocator);
    figures.AddMember("streaming_ch_size", most.streamingChSize, allocator);
    return figures;
}

}  // namespace

/// Fixed by the protocol: the local logger's buses go without a logger name, except those of MOST.
/// The web application shows a name where there is one.
WaResponseBusload::WaResponseBusload(const BusKey& key, const BusloadData& data) {
    thread_local klv::BusloadText text;
    std::optional<std::string> name;
    if (data.kslOffset != 0 || isMostBus(data.busId)) {
        const std::string& logger = std::get<std::string>(key);
        name = displayName(logger);
        if (!name) {
            LogUtil::log(LogLevel::Error, "WaResponseBusload", "no logger_name=" + logger);
        }
    }
    sendMessageText(text.write(data, name));
}

WaResponseBusloadGps::WaResponseBusloadGps(const GpsData* data) {
    auto& allocator = document.GetAllocator();
    document.AddMember("response", "busload_data", allocator);
    document.AddMember("timestamp", data->timestamp, allocator);
    Value state(rapidjson::kObjectType);
    state.AddMember("channel", shownChannel(data->channel, data->kslOffset), allocator);
    state.AddMember("name", Value(data->name, allocator), allocator);
    state.AddMember("gps_status", Value(data->gprmcStatus, allocator), allocator);
    state.AddMember("value", data->value, allocator);
    document.AddMember("data", state, allocator);
    addStatus(KR_STATE_OK, KR_ERROR_UNSPECIFIED, "");
    sendMessage();
}

WaResponseBusloadMost::WaResponseBusloadMost(const BusLoadExtMessage* message,
                                             const std::string& source) {
    auto& allocator = document.GetAllocator();
    document.AddMember("response", "busload_data", allocator);
    document.AddMember("timestamp", message->timestamp, allocator);
    if (const std::optional<std::string> name = displayName(source)) {
        addText("logger_name", *name);
    } else {
        LogUtil::log(LogLevel::Error, "WaResponseBusloadMost", "incomplete logger info");
    }
    document.AddMember("data",
                       mostFigures(message->most.value_or(BusLoadExtMessage::most_t()), allocator),
                       allocator);
    addStatus(KR_STATE_OK, KR_ERROR_UNSPECIFIED, "");
    sendMessage();
}
