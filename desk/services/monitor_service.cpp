#include "desk/services/monitor_service.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "krpbus/messages/krp_get_rc_monitor_names.h"
#include "krpbus/messages/signal_message.h"

namespace desk {

MonitorService::MonitorService(KRPBusClient& bus, Agenda& agenda,
                               std::unique_ptr<SignalSource> source, std::optional<double> rate,
                               const Stagger& stagger)
    : bus_(bus),
      audience_(bus, agenda),
      playback_(
          agenda, std::move(source), rate, stagger, [this] { return !audience_.empty(); },
          [this](const std::vector<SignalReading>& readings, std::uint64_t timestamp) {
              for (const SignalReading& reading : readings) {
                  take(reading, reading.time.value_or(timestamp));
              }
          }) {}

/// Made when they are asked for: what a logger has on its buses may take a moment to show.
const std::vector<Monitor>& MonitorService::monitors() {
    if (monitors_.empty()) {
        monitors_ = makeMonitors(playback_.list());
    }
    return monitors_;
}

std::unique_ptr<KRPMessageResponse> MonitorService::answer(const KRPMessageRequest& request) {
    if (request.getKrpMsgID() != KRPResponseGetRCMonitorNames::kId) {
        return nullptr;
    }
    auto answer = std::make_unique<KRPResponseGetRCMonitorNames>();
    for (const Monitor& monitor : monitors()) {
        answer->monitors.push_back(
            {static_cast<std::uint32_t>(answer->monitors.size()), monitor.name});
    }
    return answer;
}

bool MonitorService::takeNotice(const SystemMessage& notice) {
    switch (notice.getType()) {
        case SystemMessage::SM_STATE:
            return takeState(notice);
        case SystemMessage::SM_RCMON:
            return select(notice.getText());
        default:
            return false;
    }
}

bool MonitorService::takeState(const SystemMessage& notice) {
    if (notice.getText() == "61-HCUStartRCMon") {
        audience_.add(notice.getSource());
        showAll(notice.getSource());
        playback_.start();
        return true;
    }
    if (notice.getText() == "62-HCUStopRCMon") {
        audience_.remove(notice.getSource());
        return true;
    }
    return false;
}

bool MonitorService::select(const std::string& screen) {
    if (screen.size() != 1 || screen.front() < '0' || screen.front() > '9') {
        return false;
    }
    selected_ = static_cast<std::size_t>(screen.front() - '0');
    LogUtil::log(LogLevel::Info, "select",
                 "screen " + screen + ": " +
                     (selected_ < monitors().size() ? monitors()[selected_].name : "empty"));
    for (const std::string& client : audience_.addresses()) {
        showAll(client);
    }
    return true;
}

void MonitorService::take(const SignalReading& reading, std::uint64_t timestamp) {
    // A screen is for people: they see the text of a value where it has one.
    Shown& shown = shown_[reading.signal];
    shown = {reading.descr.empty() ? reading.value : reading.descr, timestamp};
    if (!isOnScreen(reading.signal)) {
        return;
    }
    for (const std::string& client : audience_.addresses()) {
        send(reading.signal, shown, client);
    }
}

/// A screen that comes up shows what is known, however long ago that has changed.
void MonitorService::showAll(const std::string& client) {
    for (const auto& [signal, shown] : shown_) {
        if (isOnScreen(signal)) {
            send(signal, shown, client);
        }
    }
}

void MonitorService::send(std::size_t signal, const Shown& shown, const std::string& client) {
    if (!bus_.isConnected()) {
        return;  // each value would be one more line in the log
    }
    const SignalConfig& config = playback_.signals()[signal];
    auto message = std::make_unique<SignalMessage>();
    message->timestamp = shown.timestamp;
    message->instanceName = config.instanceName;
    message->unit = config.unit;
    message->value = shown.value;
    bus_.sendTo(std::string(kHandheldServer), client, std::move(message));
}

bool MonitorService::isOnScreen(std::size_t signal) {
    if (selected_ >= monitors().size()) {
        return false;
    }
    const std::vector<std::size_t>& shown = monitors()[selected_].signals;
    return std::find(shown.begin(), shown.end(), signal) != shown.end();
}

}  // namespace desk
