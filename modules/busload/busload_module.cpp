#include "modules/busload/busload_module.h"

#include "base/log.h"
#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/gps_trace_message.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/message_kind.h"
#include "krpbus/messages/router_message.h"
#include "modules/busload/bus_names_responses.h"
#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_commands.h"
#include "modules/busload/busload_values.h"
#include "network/bus_requests.h"
#include "network/waiting.h"

int busload_module_setup(ThreadKrpbusData*) {
    LogUtil::log(LogLevel::Info, "busload_module_setup", "setup busload module");
    busInfo->resetBusNamesMap();
    return 0;
}

int busload_module_destroy() {
    busload_stop();
    return 0;
}

int wa_handle_message_busload(const std::string& cmd, const Document& doc) {
    if (cmd == "busload_start") {
        busload_start();
    } else if (cmd == "busload_stop") {
        busload_stop();
    } else if (cmd == "get_bus_names") {
        getBusNames(doc, klv::kCommandWaitSteps);
    } else {
        return 0;
    }
    return 1;
}

int handleBusloadMessages(const MessageBase* message, const std::string& source) {
    if (kindOf(message) == RouterMessage::kMessageID) {
        message = as<RouterMessage>(message)->getMessage();
    }
    switch (kindOf(message)) {
        case answerTo(KRP_GET_BUS_NAMES):
            sendResponse<WaResponseGetBusNames>(as<KRPResponseGetBusNames>(message), source);
            return 1;
        case BusLoadExtMessage::kMessageID:
            updateBusValue(as<BusLoadExtMessage>(message), source);
            return 1;
        case GPSTraceMessage::kMessageID:
            updateBusValueGps(as<GPSTraceMessage>(message), source);
            return 1;
        default:
            return 0;
    }
}

void busloadBusReconnected() {
    busInfo->abandonCollection(busConnection());
}
