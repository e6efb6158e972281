#include "modules/trigger/trigger_module.h"

#include "base/log.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/krp_get_event_index.h"
#include "krpbus/messages/krp_get_event_list.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/message_kind.h"
#include "krpbus/messages/simple_messages.h"
#include "modules/trigger/trigger_catalogue.h"
#include "modules/trigger/trigger_commands.h"
#include "modules/trigger/trigger_responses.h"
#include "network/bus_requests.h"
#include "network/common_responses.h"
#include "network/waiting.h"
#include "setup/lv_setup.h"

int trigger_module_setup() {
    LogUtil::log(LogLevel::Info, "trigger_module_setup", "setup trigger module");
    if (stp != nullptr && stp->krpbus != nullptr && stp->krpbus->isConnected()) {
        stp->krpbus->registerBus("Trigger");
    } else {
        LogUtil::log(LogLevel::Error, "trigger_module_setup", "trigger_module_setup failed.");
    }
    return 0;
}

int trigger_module_destroy() {
    LogUtil::log(LogLevel::Info, "trigger_module_destroy", "destroy trigger module");
    if (stp != nullptr && stp->krpbus != nullptr) {
        stp->krpbus->unRegisterBus("Trigger");
    }
    return 0;
}

int wa_handle_message_trigger(const std::string& cmd, const Document& doc) {
    if (cmd == "set_trigger") {
        setTrigger(doc);
    } else if (cmd == "get_trigger_count") {
        getTriggerCount();
    } else if (cmd == "get_trigger") {
        getTrigger(klv::kCommandWaitSteps);
    } else {
        return 0;
    }
    return 1;
}

int handleTriggerMessages(const KRPMessageResponse* response, const std::string& logger) {
    switch (kindOf(response)) {
        case answerTo(KRP_GET_EVENT_INDEX):
            sendResponse<WaResponseGetTriggerCount>(as<KRPResponseGetEventIndex>(response));
            return 1;
        case answerTo(KRP_GET_EVENT_LIST):
            sendResponse<WaResponseGetEventList>(as<KRPResponseGetEventList>(response), logger);
            return 1;
        case answerTo(KRP_GET_KSL_TIME_OFFSET):
            sendResponse<WaResponseGetKslTimeOffset>(
                as<Simple1MessageResponse<KRP_GET_KSL_TIME_OFFSET, long long>>(response), logger);
            return 1;
        default:
            return 0;
    }
}

void triggerBusReconnected() {
    triggerInfo->abandonCollection(busConnection());
}
