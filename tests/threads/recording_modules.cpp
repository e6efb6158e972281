#include "tests/threads/recording_modules.h"

#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "modules/audio/audio_module.h"
#include "modules/busload/busload_module.h"
#include "modules/monitor/monitor_module.h"
#include "modules/signal/signal_module.h"
#include "modules/trigger/trigger_module.h"
#include "network/common_responses.h"

RecordingModules recordingModules;

namespace {

std::string nameOf(const MessageBase* message) {
    if (dynamic_cast<const RouterMessage*>(message) != nullptr) {
        return "RouterMessage";
    }
    if (dynamic_cast<const SignalMessage*>(message) != nullptr) {
        return "SignalMessage";
    }
    if (const auto* response = dynamic_cast<const KRPMessageResponse*>(message)) {
        return "answer" + std::to_string(response->getKrpMsgID());
    }
    return "other";
}

int record(const std::string& handler, const MessageBase* message, const std::string& mac = {}) {
    recordingModules.calls.push_back(handler + " " + nameOf(message) +
                                     (mac.empty() ? "" : " " + mac));
    return recordingModules.claiming.contains(handler) ? 1 : 0;
}

}  // namespace

int handleBusloadMessages(const MessageBase* message, const std::string& mac) {
    return record("busload", message, mac);
}

int handleMonitorMessages(const MessageBase* message) {
    return record("monitor", message);
}

int handleSignalMessages(const MessageBase* message, const std::string& mac) {
    return record("signal", message, mac);
}

int handleCommonMessages(const KRPMessageResponse* response, const std::string& mac) {
    return record("common", response, mac);
}

int handleAudioMessages(const KRPMessageResponse* response) {
    return record("audio", response);
}

int handleTriggerMessages(const KRPMessageResponse* response, const std::string& logger) {
    return record("trigger", response, logger);
}

void getTrigger(int waitCount) {
    recordingModules.calls.push_back("getTrigger " + std::to_string(waitCount));
}

WaResponseSetTrigger::WaResponseSetTrigger(const SystemNgEventMessage* event) {
    recordingModules.calls.push_back("WaResponseSetTrigger " + event->getMarkerId());
}

void busloadSetUnknown() {
    recordingModules.calls.emplace_back("busloadSetUnknown");
}

void busloadBusReconnected() {
    recordingModules.calls.emplace_back("busloadBusReconnected");
}

void signalBusReconnected() {
    recordingModules.calls.emplace_back("signalBusReconnected");
}

void triggerBusReconnected() {
    recordingModules.calls.emplace_back("triggerBusReconnected");
}
