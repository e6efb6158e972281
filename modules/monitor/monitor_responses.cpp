#include "modules/monitor/monitor_responses.h"

#include "krpbus/messages/krp_get_rc_monitor_names.h"
#include "krpbus/messages/signal_message.h"

WaResponseGetRCMonitorNames::WaResponseGetRCMonitorNames(
    const KRPResponseGetRCMonitorNames* answer) {
    auto& allocator = document.GetAllocator();
    document.AddMember("response", "get_rcmonitor_names", allocator);
    Value monitors(rapidjson::kArrayType);
    for (const auto& monitor : answer->monitors) {
        Value entry(rapidjson::kObjectType);
        entry.AddMember("index", monitor.index, allocator);
        entry.AddMember("name", Value(monitor.name, allocator), allocator);
        monitors.PushBack(entry, allocator);
    }
    document.AddMember("rc_monitors", monitors, allocator);
    addKrpStatus(answer);
    sendMessage();
}

WaResponseSignalMessage::WaResponseSignalMessage(const SignalMessage* message) {
    document.AddMember("response", "signal_message", document.GetAllocator());
    addText("name", message->instanceName);
    addText("value", message->value);
    addText("unit", message->unit);
    sendMessage();
}
