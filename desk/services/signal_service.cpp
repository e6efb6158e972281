#include "desk/services/signal_service.h"

#include <utility>

#include "base/log.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/krp_get_lv_signal_config.h"

namespace desk {

SignalService::SignalService(KRPBusClient& bus, Agenda& agenda, Outbox& outbox,
                             std::unique_ptr<SignalSource> source, std::optional<double> rate,
                             std::uint8_t networkOffset, const Stagger& stagger)
    : bus_(bus),
      outbox_(outbox),
      networkOffset_(networkOffset),
      audience_(bus, agenda),
      playback_(
          agenda, std::move(source), rate, stagger, [this] { return !audience_.empty(); },
          [this](const std::vector<SignalReading>& readings, std::uint64_t timestamp) {
              send(readings, timestamp);
          }) {}

std::unique_ptr<KRPMessageResponse> SignalService::answer(const KRPMessageRequest& request) {
    if (request.getKrpMsgID() != KRPResponseGetLVSignalConfig::kId) {
        return nullptr;
    }
    auto answer = std::make_unique<KRPResponseGetLVSignalConfig>(playback_.list());
    // To its own clients a logger is the local one; to those of other loggers it has its offset.
    const bool isForwarded = KSLUtil::splitAddress(request.getSource()).has_value();
    for (SignalConfig& config : answer->configs) {
        config.kslOffset = isForwarded ? networkOffset_ : 0;
    }
    return answer;
}

bool SignalService::takeNotice(const SystemMessage& notice) {
    if (notice.getType() != SystemMessage::SM_STATE) {
        return false;
    }
    if (notice.getText() == "77-LVStartSignals") {
        audience_.add(notice.getSource(), notice.takesShared());
        playback_.start();
        return true;
    }
    if (notice.getText() == "78-LVStopSignals") {
        audience_.remove(notice.getSource());
        return true;
    }
    return false;
}

void SignalService::send(const std::vector<SignalReading>& readings, std::uint64_t timestamp) {
    if (!bus_.isConnected()) {
        return;  // each value would be one more line in the log
    }
    std::vector<SignalMessage> messages;
    messages.reserve(readings.size());
    for (const SignalReading& reading : readings) {
        messages.push_back(messageOf(reading, reading.time.value_or(timestamp)));
    }
    const Audience::Reach& reach = audience_.reach();
    for (const std::string& client : reach.each) {
        for (const SignalMessage& message : messages) {
            outbox_.add(client, message.clone());
        }
    }
    for (const SignalMessage& message : messages) {
        if (reach.ownLogger) {
            outbox_.addForMany(krpbus::LiveData::Signals, {}, message.clone());
        }
        if (!reach.otherLoggers.empty()) {
            outbox_.addForMany(krpbus::LiveData::Signals, reach.otherLoggers, message.clone());
        }
    }
}

SignalMessage SignalService::messageOf(const SignalReading& reading,
                                       std::uint64_t timestamp) const {
    const SignalConfig& config = playback_.signals()[reading.signal];
    SignalMessage message;
    message.timestamp = timestamp;
    message.instanceName = config.instanceName;
    message.webappName = config.webappName;
    message.unit = config.unit;
    message.value = reading.value;
    message.raw = reading.raw;
    message.phys = reading.phys;
    message.descr = reading.descr;
    return message;
}

}  // namespace desk
