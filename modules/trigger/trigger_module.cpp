#include "modules/trigger/trigger_module.h"

#include "base/log.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/krp_get_event_index.h"
#include "krpbus/messages/krp_get_event_list.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"
#include "modules/trigger/trigger_catalogue.h"
#include "network/bus_requests.h"
#include "network/common_responses.h"
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

int handleTriggerMessages(const KRPMessageResponse* response, const std::string& logger) {
    if (const auto* index = dynamic_cast<const KRPResponseGetEventIndex*>(response)) {
        const WaResponseGetTriggerCount answer(index);
        return 1;
    }
    if (const auto* events = dynamic_cast<const KRPResponseGetEventList*>(response)) {
        const WaResponseGetEventList answer(events, logger);
        return 1;
    }
    if (const auto* offset =
            dynamic_cast<const Simple1MessageResponse<KRP_GET_KSL_TIME_OFFSET, long long>*>(
                response)) {
        const WaResponseGetKslTimeOffset answer(offset, logger);
        return 1;
    }
    return 0;
}

void triggerBusReconnected() {
    triggerInfo->abandonCollection(busConnection());
}
