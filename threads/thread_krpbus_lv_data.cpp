#include "threads/thread_krpbus_lv_data.h"

#include <string>
#include <string_view>

#include "base/log.h"
#include "json/websocket_send.h"
#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_kind.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/system_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "krpbus/messages/system_set_state_message.h"
#include "modules/module_table.h"

namespace {

void log(LogLevel level, const std::string& text) {
    LogUtil::log(level, "handleMessages", text);
}

void handleEvent(const SystemNgEventMessage& event) {
    if (event.getEventId() == EVENTID_TRIGGER_SET) {
        log(LogLevel::Debug, "trigger was set, so update trigger list and current index");
        moduleTable->routing.sendSetTrigger(&event);
    } else if (event.getEventId() == EVENTID_TRIGGER_COUNT_RESET) {
        log(LogLevel::Debug, "data with trigger count was reseted, so update trigger list");
        moduleTable->routing.getTrigger(0);
    }
}

/// Before a logger is configured the browser is sent away: it is to come back to a new session with
/// the new names and signals. A logger that is only off keeps its browser.
void handleLoggerState(const SystemMessage& state) {
    if (state.getText() == "1-config") {
        log(LogLevel::Debug, "config message: " + state.toString());
        closeWebwsocket();
    } else if (state.getText() == "8-loggerOff") {
        log(LogLevel::Debug, "logger is off message: " + state.toString());
        moduleTable->routing.busloadSetUnknown();
    } else if (state.getText() == "3-stop") {
        log(LogLevel::Debug, "stop message: " + state.toString());
        moduleTable->routing.busloadSetUnknown();
    }
}

void handleNotice(const SystemMessage& notice) {
    if (notice.getType() == SystemMessage::SM_KSL) {
        log(LogLevel::Debug, "ksl message: " + notice.toString());
        closeWebwsocket();
    } else if (notice.getType() == SystemMessage::SM_STATE) {
        handleLoggerState(notice);
    }
}

/// An answer that none of those took that are offered everything; whether audio or the triggers
/// did.
bool offerAnswer(const KRPMessageResponse& answer, const std::string& mac) {
    const ModuleTable::Routing& modules = moduleTable->routing;
    if (answer.getStatus() == KRPMessageResponse::KRPSTATUS_NOTAVAILABLE) {
        log(LogLevel::Error, "KRPMessageResponse::KRPSTATUS_NOTAVAILABLE");
        log(LogLevel::Error, "message: " + answer.toString());
    }
    modules.common(&answer, mac);
    return modules.audio(&answer) != 0 || modules.trigger(&answer, mac) != 0;
}

void offerToFurtherModules(const MessageBase* message, const std::string& mac) {
    for (const auto& module : moduleTable->further) {
        if (module.message != nullptr && module.message(message, mac) != 0) {
            return;
        }
    }
}

/// `message` is as it was received, `inner` what is in it when it was forwarded, of that kind. More
/// than one module could be interested: the first that claims it has it.
void offerToModules(const MessageBase* message, const MessageBase* inner, MessageKind kind,
                    const std::string& mac) {
    const ModuleTable::Routing& modules = moduleTable->routing;
    const KRPMessageResponse* answer = isAnswer(kind) ? as<KRPMessageResponse>(inner) : nullptr;
    if (answer != nullptr && answer->isBusy()) {
        log(LogLevel::Info, answer->toString());
    }
    if (modules.busload(message, mac) != 0 || modules.monitor(inner) != 0 ||
        modules.signal(inner, mac) != 0) {
        return;
    }
    if (answer != nullptr && offerAnswer(*answer, mac)) {
        return;
    }
    offerToFurtherModules(inner, mac);
}

}  // namespace

ThreadKrpbusLvData::ThreadKrpbusLvData(LvSetup* setup, unsigned int id, const std::string& name,
                                       apr_thread_start_t function)
    : ThreadKrpbusData(setup, id, name, function) {}

ThreadKrpbusLvData::~ThreadKrpbusLvData() = default;

void ThreadKrpbusLvData::handleMessages(const MessageBase* message) {
    const MessageBase* inner = message;
    MessageKind kind = kindOf(message);
    std::string source;
    if (kind == RouterMessage::kMessageID) {
        const auto* router = as<RouterMessage>(message);
        inner = router->getMessage();
        kind = kindOf(inner);
        source = router->getSourceAddress();
    }
    std::string mac;
    getMacAddress(source, mac);
    if (inner == nullptr) {
        return;
    }
    switch (kind) {
        case SystemNgEventMessage::kMessageID:
            handleEvent(*as<SystemNgEventMessage>(inner));
            break;
        case SystemMessage::kMessageID:
        case SystemSetStateKrpBusMessage::kMessageID:
            handleNotice(*as<SystemMessage>(inner));
            break;
        default:
            offerToModules(message, inner, kind, mac);
            break;
    }
}

void ThreadKrpbusLvData::handleReconnect() {
    LogUtil::log(LogLevel::Info, "handleReconnect", "krpbus server is back");
    tellBusReconnected();
}
