#include "modules/monitor/monitor_module.h"

#include "base/log.h"
#include "krpbus/messages/krp_get_rc_monitor_names.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/message_kind.h"
#include "krpbus/messages/signal_message.h"
#include "modules/monitor/monitor_commands.h"
#include "modules/monitor/monitor_responses.h"
#include "setup/lv_setup.h"

namespace {

/// A value without a name for the web application belongs to a monitor's screen.
void showOnScreen(const SignalMessage& value) {
    if (value.webappName.empty()) {
        sendResponse<WaResponseSignalMessage>(&value);
    }
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

int wa_handle_message_monitor(const std::string& cmd, const Document& doc) {
    if (cmd == "get_rcmonitor_names") {
        getRCMonitorNames(stp != nullptr ? stp->krpbus : nullptr);
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

int handleMonitorMessages(const MessageBase* message) {
    switch (kindOf(message)) {
        case answerTo(KRP_GET_RC_MONITOR_NAMES):
            LogUtil::log(LogLevel::Debug, "handleMonitorMessages",
                         "********* GetRCMonitorNames **************");
            sendResponse<WaResponseGetRCMonitorNames>(as<KRPResponseGetRCMonitorNames>(message));
            return 1;
        case SignalMessage::kMessageID:
            // Shown and still offered to the other modules: only monitor names count as taken.
            showOnScreen(*as<SignalMessage>(message));
            return 0;
        default:
            return 0;
    }
}
