#include "threads/thread_krpbus_lv_data.h"

#include <string>
#include <string_view>

#include "base/log.h"
#include "json/websocket_send.h"
#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_base.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/system_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "modules/audio/audio_module.h"
#include "modules/busload/busload_module.h"
#include "modules/monitor/monitor_module.h"
#include "modules/signal/signal_module.h"
#include "modules/trigger/trigger_module.h"
#include "network/bus_requests.h"
#include "network/common_responses.h"
#include "network/ksl_info.h"

namespace {

void log(LogLevel level, const std::string& text) {
    LogUtil::log(level, "handleMessages", text);
}

void handleEvent(const SystemNgEventMessage& event) {
    if (event.getEventId() == EVENTID_TRIGGER_SET) {
        log(LogLevel::Debug, "trigger was set, so update trigger list and current index");
        const WaResponseSetTrigger response(&event);
    } else if (event.getEventId() == EVENTID_TRIGGER_COUNT_RESET) {
        log(LogLevel::Debug, "data with trigger count was reseted, so update trigger list");
        getTrigger(0);
    }
}

// Before a logger is configured the browser is sent away: it is to come back to a new session with
// the new names and signals. A logger that is only off keeps its browser.
void handleLoggerState(const SystemMessage& state) {
    if (state.getText() == "1-config") {
        log(LogLevel::Debug, "config message: " + state.toString());
        closeWebwsocket();
    } else if (state.getText() == "8-loggerOff") {
        log(LogLevel::Debug, "logger is off message: " + state.toString());
        busloadSetUnknown();
    } else if (state.getText() == "3-stop") {
        log(LogLevel::Debug, "stop message: " + state.toString());
        busloadSetUnknown();
    }
}

void handleSystemMessage(const SystemMessage& message) {
    if (const auto* event = dynamic_cast<const SystemNgEventMessage*>(&message)) {
        handleEvent(*event);
    } else if (message.getType() == SystemMessage::SM_KSL) {
        log(LogLevel::Debug, "ksl message: " + message.toString());
        closeWebwsocket();
    } else if (message.getType() == SystemMessage::SM_STATE) {
        handleLoggerState(message);
    }
}

void handleResponse(const KRPMessageResponse& response, const std::string& mac) {
    if (response.getStatus() == KRPMessageResponse::KRPSTATUS_NOTAVAILABLE) {
        log(LogLevel::Error, "KRPMessageResponse::KRPSTATUS_NOTAVAILABLE");
        log(LogLevel::Error, "message: " + response.toString());
    }
    handleCommonMessages(&response, mac);
    if (handleAudioMessages(&response) == 0) {
        handleTriggerMessages(&response, mac);
    }
}

}  // namespace

ThreadKrpbusLvData::ThreadKrpbusLvData(LvSetup* setup, unsigned int id, const std::string& name,
                                       apr_thread_start_t function)
    : ThreadKrpbusData(setup, id, name, function) {}

ThreadKrpbusLvData::~ThreadKrpbusLvData() = default;

void ThreadKrpbusLvData::handleMessages(const MessageBase* message) {
    const MessageBase* inner = message;
    std::string source;
    if (const auto* router = dynamic_cast<const RouterMessage*>(message)) {
        inner = router->getMessage();
        source = router->getSourceAddress();
    }
    std::string mac;
    getMacAddress(source, mac);
    if (inner == nullptr) {
        return;
    }
    const auto* response = dynamic_cast<const KRPMessageResponse*>(inner);
    if (response != nullptr && response->isBusy()) {
        log(LogLevel::Info, response->toString());
    }
    if (const auto* system = dynamic_cast<const SystemMessage*>(inner)) {
        handleSystemMessage(*system);
        return;
    }
    // More than one module could be interested: the first that claims a message has it.
    if (handleBusloadMessages(message, mac) != 0 || handleMonitorMessages(inner) != 0 ||
        handleSignalMessages(inner, mac) != 0) {
        return;
    }
    if (response != nullptr) {
        handleResponse(*response, mac);
    }
}

void ThreadKrpbusLvData::handleReconnect() {
    LogUtil::log(LogLevel::Info, "handleReconnect", "krpbus server is back");
    if (kslInfo != nullptr) {
        kslInfo->busReconnected(busConnection());
    }
    busloadBusReconnected();
    signalBusReconnected();
    triggerBusReconnected();
}
