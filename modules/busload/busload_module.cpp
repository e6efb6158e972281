#include "modules/busload/busload_module.h"

#include "base/log.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "krpbus/messages/router_message.h"
#include "network/bus_requests.h"

int busload_module_setup(ThreadKrpbusData*) {
    LogUtil::log(LogLevel::Info, "busload_module_setup", "setup busload module");
    busInfo->resetBusNamesMap();
    return 0;
}

int busload_module_destroy() {
    busload_stop();
    return 0;
}

int handleBusloadMessages(const MessageBase* message, const std::string& source) {
    if (const auto* router = dynamic_cast<const RouterMessage*>(message)) {
        message = router->getMessage();
    }
    if (const auto* names = dynamic_cast<const KRPResponseGetBusNames*>(message)) {
        const WaResponseGetBusNames answer(names, source);
        return 1;
    }
    if (const auto* figure = dynamic_cast<const BusLoadExtMessage*>(message)) {
        updateBusValue(figure, source);
        return 1;
    }
    if (const auto* gps = dynamic_cast<const GPSTraceMessage*>(message)) {
        updateBusValueGps(gps, source);
        return 1;
    }
    return 0;
}

void busloadBusReconnected() {
    busInfo->abandonCollection(busConnection());
}
