#include "modules/busload/busload_commands.h"

#include <cstddef>

#include "base/log.h"
#include "json/request_parsers.h"
#include "json/simple_response.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/simple_messages.h"
#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_values.h"
#include "network/bus_requests.h"
#include "network/ksl_info.h"
#include "network/waiting.h"

namespace {

using BusNamesRequest = Simple1MessageRequest<KRP_GET_BUS_NAMES, unsigned char>;

bool everyLoggerHasAnswered() {
    return static_cast<std::size_t>(busInfo->getBusnamesMapSize()) > countNeighbours();
}

}  // namespace

/// A request under way is waited for, and a complete catalogue is never asked for again: the buses
/// that a logger records do not change within a session, unlike its signals.
void getBusNames(unsigned char activeOnly, int waitCount) {
    checkKSLNetwork(waitCount);
    if (busInfo->beginCollection(busConnection())) {
        sendKslBroadcast(BusNamesRequest(activeOnly, "NotSet"), kHandheldServer);
        return;
    }
    klv::waitInSteps(waitCount, [] { return busInfo->state != KSL_MSG_STATE_UPDATE; });
}

void getBusNames(const Document& doc, int waitCount) {
    unsigned active = 0;
    if (parseUint("active", active, &doc) != 0) {
        active = 1;  // the parser has told the browser; the request goes out all the same
    }
    const auto activeOnly = static_cast<unsigned char>(active);
    busnamesActiveOnly = activeOnly;
    getBusNames(activeOnly, waitCount);
}

void getBusNames(const std::string& logger) {
    sendMessage(BusNamesRequest(busnamesActiveOnly, "NotSet"), kHandheldServer, logger);
}

void busload_start() {
    const bool alreadyRunning = busInfo->running.exchange(true);
    if (alreadyRunning && everyLoggerHasAnswered()) {
        createAndSendJSON_simple("busload_start", KR_STATE_OK, KR_ERROR_RUNNING,
                                 "busload module is already running");
        sendBusValues();
        return;
    }
    // Answers that come from now on show their buses by themselves. Those that came before were
    // only listed: their initial values follow the reply. But the loggers report as soon as they
    // are told to, and a figure counts only where its bus is known.
    const bool namesCameBefore = !alreadyRunning && busInfo->getBusnamesMapSize() > 0;
    getBusNames(static_cast<unsigned char>(1), klv::kCommandWaitSteps);
    addCatalogueBuses();
    startLiveData(krpbus::LiveData::Loads);
    createAndSendJSON_simple("busload_start", KR_STATE_OK, KR_ERROR_TODO, "");
    if (namesCameBefore) {
        sendInitialValues();
    }
}

void busload_stop() {
    LogUtil::log(LogLevel::Debug, "busload_stop", "stopping busload module");
    LogUtil::log(LogLevel::Debug, "busload_stop", "stop ksl busload module");
    stopLiveData(krpbus::LiveData::Loads);
    LogUtil::log(LogLevel::Debug, "busload_stop", "set active busses to unknown");
    busloadSetUnknown();
    busInfo->running = false;
    createAndSendJSON_simple("busload_stop", KR_STATE_OK, KR_ERROR_TODO, "");
}
