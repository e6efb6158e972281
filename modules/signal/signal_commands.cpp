#include "modules/signal/signal_commands.h"

#include <sstream>
#include <string_view>

#include "base/log.h"
#include "json/request_command.h"
#include "json/request_parsers.h"
#include "json/simple_response.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/simple_messages.h"
#include "modules/signal/signal_catalogue.h"
#include "network/bus_requests.h"
#include "network/waiting.h"

namespace {

using SignalConfigRequest = SimpleMessageRequest<KRPResponseGetLVSignalConfig::kId>;

std::string localLogger() {
    return KSLUtil::findLowestMAC().toString(std::ios::uppercase);
}

void answer(const char* cmd, kr_state state, kr_error_code code, const SignalKey& key) {
    createAndSendJSON_generic(cmd, state, code, key, -1);
}

bool isCatalogueComplete() {
    return signalInfo->configState == KSL_MSG_STATE_COMPLETE;
}

/// Whether every logger has answered, at the latest after two seconds; half as long steps as
/// elsewhere, since the browser waits for its signal to start.
bool waitForSignalConfigs() {
    klv::waitInSteps(2 * klv::kCommandWaitSteps, isCatalogueComplete,
                     klv::kWaitStepMicroseconds / 2);
    return isCatalogueComplete();
}

enum class KeyResult { Valid, Invalid, Missing };

/// Reads "signal_key": an array of name and logger, a plain name, or an object. A key without a
/// logger means the local one.
KeyResult readSignalKey(const Document& doc, SignalKey& key) {
    const auto member = doc.FindMember("signal_key");
    if (member == doc.MemberEnd()) {
        return KeyResult::Missing;
    }
    const auto text = [](const Value& value) {
        return std::string(value.GetString(), value.GetStringLength());
    };
    const Value& value = member->value;
    if (value.IsString()) {
        key.first = text(value);
    } else if (value.IsArray() && value.Size() == 2 && value[0].IsString() && value[1].IsString()) {
        key = {text(value[0]), text(value[1])};
    } else if (!value.IsObject() || parseSignalKey(key.first, key.second, doc) != 0) {
        return KeyResult::Invalid;
    }
    if (key.second.empty()) {
        key.second = localLogger();
    }
    return KeyResult::Valid;
}

/// The part of a "generic_" command that they have in common: a key that the catalogue knows. False
/// when there is none; the browser has been told where it is to be told.
bool takeSignalKey(const std::string& cmd, const Document& doc, SignalKey& key) {
    switch (readSignalKey(doc, key)) {
        case KeyResult::Valid:
            break;
        case KeyResult::Invalid:
            LogUtil::log(LogLevel::Error, "wa_handle_message_signal", "signal_key is not valid");
            return false;
        case KeyResult::Missing:
            LogUtil::log(LogLevel::Error, "wa_handle_message_signal",
                         "parsing error: no entry for signal_key");
            createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND,
                                        "no entry for signal_key");
            return false;
    }
    if (signalInfo->configState == KSL_MSG_STATE_EMPTY) {
        getSignalNames(klv::kCommandWaitSteps);
    }
    key = signalInfo->findShown(key);
    // While loggers are still to answer nobody can say that there is no such signal.
    return !isCatalogueComplete() || checkSignal(cmd, key);
}

int handleStart(const Document& doc, const SignalKey& key) {
    int interval = -1;
    // A missing interval has been answered by the parser; the signal is started all the same.
    if (parseInt("interval", interval, &doc) == -1) {
        return 2;
    }
    start_signal(key, interval);
    return 1;
}

}  // namespace

void getSignalNames(int waitCount) {
    checkKSLNetwork(waitCount);
    if (!signalInfo->beginCycle(busConnection())) {
        return;
    }
    sendKslBroadcast(SignalConfigRequest("NotSet"), kHandheldServer);
    // Fixed by the protocol: this normally ends at once, since the state was set just above, and
    // waits only when another thread has changed it. The browser is sent the catalogue as it
    // arrives; a command that needs it complete waits for that itself.
    klv::waitInSteps(waitCount, [] { return signalInfo->configState == KSL_MSG_STATE_UPDATE; });
}

void getSignalNames(const std::string& logger) {
    sendMessage(SignalConfigRequest("NotSet"), kHandheldServer, logger);
}

bool checkSignal(const std::string& cmd, const SignalKey& key) {
    if (signalInfo->checkSignal(key)) {
        return true;
    }
    LogUtil::log(LogLevel::Error, "checkSignal", "Signal " + key.first + " does not exist");
    answer(cmd.c_str(), KR_STATE_ERROR, KR_ERROR_ILLEGAL_KEY, key);
    return false;
}

void signal_forwarding_start() {
    if (signalInfo->configState == KSL_MSG_STATE_EMPTY) {
        getSignalNames(klv::kCommandWaitSteps);
    }
    startLiveData(krpbus::LiveData::Signals);
    signalInfo->forwardingActive = true;
    createAndSendJSON_simple("signal_forwarding_start", KR_STATE_OK, KR_ERROR_TODO, "");
}

void signal_forwarding_stop() {
    LogUtil::log(LogLevel::Debug, "signal_forwarding_stop", "stopping signal module");
    LogUtil::log(LogLevel::Debug, "signal_forwarding_stop", "stop ksl signal module");
    stopLiveData(krpbus::LiveData::Signals);
    LogUtil::log(LogLevel::Debug, "signal_forwarding_stop", "stop local signal module");
    signalInfo->forwardingActive = false;
    createAndSendJSON_simple("signal_forwarding_stop", KR_STATE_OK, KR_ERROR_TODO, "");
    // Fixed by the protocol: the state stays as it is. A later start finds an empty catalogue and
    // says so, until the browser asks for the signals again.
    signalInfo->clearSignalData();
}

void start_signal(const SignalKey& requested, [[maybe_unused]] int interval) {
    if (signalInfo->configState == KSL_MSG_STATE_EMPTY) {
        getSignalNames(klv::kCommandWaitSteps);
    }
    if (!waitForSignalConfigs()) {
        LogUtil::log(LogLevel::Error, "start_signal", "not all signal configs received");
        createAndSendJSON_simple("generic_start", KR_STATE_ERROR, KR_ERROR_CANNOT_START,
                                 "not all signal configs received");
        // Fixed by the protocol: and on, since the signal may be known all the same.
    }
    if (!signalInfo->forwardingActive) {
        signal_forwarding_start();
    }
    // Once more, since the signal may have become known only now.
    const SignalKey key = signalInfo->findShown(requested);
    // The answers leave under the lock, so that no value overtakes them.
    signalInfo->withSignal(key, [&key](SignalData* signal) {
        if (signal == nullptr) {
            LogUtil::log(LogLevel::Error, "start_signal",
                         "Invalid config. Signal data transfer could not be started.");
            answer("generic_start_sig", KR_STATE_ERROR, KR_ERROR_ILLEGAL_KEY, key);
        } else if (signal->active) {
            std::ostringstream text;
            text << "Signal is already active:" << key;
            LogUtil::log(LogLevel::Info, "start_signal", text.str());
            answer("generic_start_sig", KR_STATE_OK, KR_ERROR_TODO, key);
        } else {
            signal->active = true;
            answer("generic_start_sig", KR_STATE_OK, KR_ERROR_TODO, key);
            answer("generic_sig_value", KR_STATE_ERROR, KR_ERROR_NO_VALUE, key);
        }
    });
}

void stop_signal(const SignalKey& key) {
    signalInfo->withSignal(key, [&key](SignalData* signal) {
        if (signal != nullptr && signal->active) {
            signal->active = false;
            answer("generic_stop_sig", KR_STATE_OK, KR_ERROR_TODO, key);
            return;
        }
        LogUtil::log(LogLevel::Error, "stop_signal", "signal is not configured or not active");
        answer("generic_stop_sig", KR_STATE_ERROR,
               signal == nullptr ? KR_ERROR_ILLEGAL_CONFIG : KR_ERROR_NOT_RUNNING, key);
    });
}

int runGenericCommand(const std::string& cmd, const Document& doc) {
    SignalKey key;
    if (!takeSignalKey(cmd, doc, key)) {
        return 2;
    }
    if (cmd == "generic_start_sig") {
        return handleStart(doc, key);
    }
    if (cmd == "generic_stop_sig") {
        stop_signal(key);
        return 1;
    }
    createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND, "");
    return 2;
}
