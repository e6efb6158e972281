#include "modules/monitor/monitor_commands.h"

#include <memory>
#include <string>
#include <string_view>

#include "base/log.h"
#include "json/request_parsers.h"
#include "json/simple_response.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "modules/monitor/monitor_module.h"
#include "setup/lv_setup.h"

namespace {

// The session's own bus client; null between sessions and in one that has no bus.
KRPBusClient* busClient() {
    return stp != nullptr ? stp->krpbus : nullptr;
}

void sendToHandheldServer(KRPBusClient* client, std::unique_ptr<MessageBase> message) {
    if (client != nullptr) {
        client->sendTo(client->getName(), kHandheldServer, std::move(message));
    }
}

void sendNotice(unsigned char type, const std::string& text) {
    sendToHandheldServer(busClient(), std::make_unique<SystemMessage>(type, text));
}

// Compared as a whole text: "07" and "10" are no screens.
bool isScreen(std::string_view index) {
    return index.size() == 1 && index.front() >= '0' && index.front() <= '9';
}

}  // namespace

int monitor_module_setup() {
    LogUtil::log(LogLevel::Info, "monitor_module_setup", "setup monitor module");
    return 0;
}

int monitor_module_destroy() {
    LogUtil::log(LogLevel::Debug, "monitor_module_destroy", "destroy monitor module");
    LogUtil::log(LogLevel::Debug, "monitor_module_destroy", "monitor module destroyed");
    return 0;
}

void getRCMonitorNames(KRPBusClient* client) {
    sendToHandheldServer(
        client, std::make_unique<SimpleMessageRequest<KRP_GET_RC_MONITOR_NAMES>>("NotSet"));
}

void startMonitor() {
    LogUtil::log(LogLevel::Debug, "startMonitor", "startMonitor");
    sendNotice(SystemMessage::SM_STATE, "61-HCUStartRCMon");
}

void stopMonitor() {
    LogUtil::log(LogLevel::Debug, "stopMonitor", "stopMonitor");
    sendNotice(SystemMessage::SM_STATE, "62-HCUStopRCMon");
}

void requestScreen(const Document& doc) {
    std::string index;
    if (parseString("index", index, &doc, false) != 0) {
        return;
    }
    LogUtil::log(LogLevel::Debug, "requestScreen", "requestScreen:" + index);
    if (!isScreen(index)) {
        createAndSendJSON_simple("request_screen", KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND,
                                 "value of 'index' must be a string between '0' and '9'");
        return;
    }
    LogUtil::log(LogLevel::Debug, "requestScreen", "send (SystemMessage::SM_RCMON, index)");
    sendNotice(SystemMessage::SM_RCMON, index);
}

int wa_handle_message_monitor(const std::string& cmd, const Document& doc) {
    if (cmd == "get_rcmonitor_names") {
        getRCMonitorNames(busClient());
    } else if (cmd == "start_monitor") {
        startMonitor();
    } else if (cmd == "stop_monitor") {
        stopMonitor();
    } else if (cmd == "request_screen") {
        requestScreen(doc);
    } else {
        return 0;
    }
    return 1;
}
