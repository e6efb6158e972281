#include "modules/signal/signal_module.h"

#include <string_view>

#include "krpbus/messages/krp_get_lv_signal_config.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/message_kind.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "modules/signal/signal_catalogue.h"
#include "modules/signal/signal_commands.h"
#include "modules/signal/signal_responses.h"
#include "network/bus_requests.h"
#include "network/waiting.h"

namespace {

/// Kept, but not used: the module sends through the session.
ThreadKrpbusData* busThread = nullptr;

}  // namespace

int signal_module_setup(ThreadKrpbusData* thread) {
    busThread = thread;
    return 0;
}

int signal_module_destroy() {
    signal_forwarding_stop();
    return 0;
}

int wa_handle_message_signal(const std::string& cmd, const Document& doc) {
    if (cmd == "signal_forwarding_start") {
        signal_forwarding_start();
    } else if (cmd == "signal_forwarding_stop") {
        signal_forwarding_stop();
    } else if (cmd == "get_signal_names") {
        getSignalNames(klv::kCommandWaitSteps);
    } else if (cmd.starts_with("generic_")) {
        return runGenericCommand(cmd, doc);
    } else {
        return 0;
    }
    return 1;
}

int handleSignalMessages(const MessageBase* message, const std::string& source) {
    if (kindOf(message) == RouterMessage::kMessageID) {
        message = as<RouterMessage>(message)->getMessage();
    }
    switch (kindOf(message)) {
        case SignalMessage::kMessageID:
            passOnValue(*as<SignalMessage>(message), source);
            return 1;
        case answerTo(KRP_GET_LV_SIGNAL_CONFIG):
            sendResponse<WaResponseGetSignalNames>(as<KRPResponseGetLVSignalConfig>(message),
                                                   source);
            return 1;
        default:
            return 0;
    }
}

void signalBusReconnected() {
    signalInfo->abandonCycle(busConnection());
}
