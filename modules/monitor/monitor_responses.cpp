#include "modules/monitor/monitor_responses.h"

#include "base/log.h"
#include "krpbus/messages/krp_get_rc_monitor_names.h"
#include "krpbus/messages/signal_message.h"
#include "modules/monitor/monitor_module.h"

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

int handleMonitorMessages(const MessageBase* message) {
    if (const auto* names = dynamic_cast<const KRPResponseGetRCMonitorNames*>(message)) {
        LogUtil::log(LogLevel::Debug, "handleMonitorMessages",
                     "********* GetRCMonitorNames **************");
        const WaResponseGetRCMonitorNames answer(names);
        return 1;
    }
    // A value without a name for the web application belongs to a monitor's screen. It is shown
    // here and still offered to the other modules: only monitor names count as taken.
    if (const auto* value = dynamic_cast<const SignalMessage*>(message);
        value != nullptr && value->webappName.empty()) {
        const WaResponseSignalMessage shown(value);
    }
    return 0;
}
