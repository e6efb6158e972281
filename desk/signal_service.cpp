#include "desk/signal_service.h"

#include <utility>

#include "krpbus/krp_get_lv_signal_config.h"
#include "krpbus/ksl_util.h"
#include "krpbus/log_util.h"

namespace desk {

namespace {

// A logger that has fallen behind by more than this leaves values out.
constexpr std::chrono::seconds kMostBehind{1};

std::uint64_t microsecondsSince1970() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

Clock::duration period(double rate) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / rate));
}

}  // namespace

SignalService::SignalService(KRPBusClient& bus, Agenda& agenda,
                             std::unique_ptr<SignalSource> source, std::optional<double> rate,
                             std::uint8_t networkOffset)
    : bus_(bus),
      agenda_(agenda),
      source_(std::move(source)),
      rate_(rate),
      networkOffset_(networkOffset),
      audience_(bus, agenda) {}

std::unique_ptr<KRPMessageResponse> SignalService::answer(const KRPMessageRequest& request) {
    if (request.getKrpMsgID() != KRPResponseGetLVSignalConfig::kId) {
        return nullptr;
    }
    auto answer = std::make_unique<KRPResponseGetLVSignalConfig>(source_->signals());
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
        start(notice.getSource());
        return true;
    }
    if (notice.getText() == "78-LVStopSignals") {
        audience_.remove(notice.getSource());
        return true;
    }
    return false;
}

void SignalService::start(const std::string& client) {
    audience_.add(client);
    if (runs_) {
        return;
    }
    runs_ = true;
    source_->begin();
    begin_ = Clock::now();
    due_ = begin_;
    agenda_.at(due_, [this] { sendDue(); });
}

void SignalService::sendDue() {
    const auto now = Clock::now();
    if (now - due_ > kMostBehind) {
        begin_ += now - due_;
        due_ = now;
    }
    while (due_ <= now && !audience_.empty()) {
        readings_.clear();
        const auto untilNext = source_->read(
            std::chrono::duration_cast<SignalSource::Duration>(due_ - begin_), readings_);
        const std::uint64_t timestamp = microsecondsSince1970();
        for (const SignalReading& reading : readings_) {
            send(reading, timestamp);
        }
        due_ += rate_ || !untilNext ? period(rate_.value_or(source_->usualRate())) : *untilNext;
    }
    runs_ = !audience_.empty();
    if (runs_) {
        agenda_.at(due_, [this] { sendDue(); });
    }
}

void SignalService::send(const SignalReading& reading, std::uint64_t timestamp) {
    if (!bus_.isConnected()) {
        return;  // each value would be one more line in the log
    }
    const SignalConfig& config = source_->signals()[reading.signal];
    SignalMessage message;
    message.timestamp = timestamp;
    message.instanceName = config.instanceName;
    message.webappName = config.webappName;
    message.unit = config.unit;
    message.value = reading.value;
    message.raw = reading.raw;
    message.phys = reading.phys;
    message.descr = reading.descr;
    for (const std::string& client : audience_.addresses()) {
        bus_.sendTo(std::string(kHandheldServer), client, message.clone());
    }
}

}  // namespace desk
