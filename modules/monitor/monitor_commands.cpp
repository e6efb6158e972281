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
#include "network/bus_requests.h"

namespace {

void sendNotice(unsigned char type, const std::string& text) {
    sendToOwnLogger(SystemMessage(type, text), kHandheldServer);
}

/// Compared as a whole text: "07" and "10" are no screens.
bool isScreen(std::string_view index) {
    return index.size() == 1 && index.front() >= '0' && index.front() <= '9';
}

}  // namespace

void getRCMonitorNames(KRPBusClient* client) {
    if (client != nullptr) {
        client->sendTo(client->getName(), kHandheldServer,
                       std::make_unique<SimpleMessageRequest<KRP_GET_RC_MONITOR_NAMES>>("NotSet"));
    }
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
