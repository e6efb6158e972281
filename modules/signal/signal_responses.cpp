#include "modules/signal/signal_responses.h"

#include <map>
#include <string_view>
#include <vector>

#include "base/log.h"
#include "json/websocket_send.h"
#include "krpbus/messages/krp_get_lv_signal_config.h"
#include "krpbus/messages/signal_message.h"
#include "modules/signal/signal_catalogue.h"
#include "modules/signal/signal_commands.h"
#include "modules/signal/signal_value_text.h"
#include "network/ksl_info.h"
#include "network/waiting.h"

namespace {

constexpr const char* kGetSignalNames = "get_signal_names";

void logError(const char* text) {
    LogUtil::log(LogLevel::Error, "WaResponseGetSignalNames", text);
}

std::size_t neighbourCount() {
    if (kslInfo == nullptr) {
        logError("no kslInfo");
        return 0;
    }
    return kslInfo->getNeighbours().size();
}

/// The display names of the loggers that have signals; empty for a logger without one. The names
/// are asked for before the catalogue is locked, since an unknown logger is logged.
std::map<std::string, std::string> loggerNames() {
    std::map<std::string, std::string> names;
    for (const std::string& mac : signalInfo->getLoggers()) {
        std::string& name = names[mac];
        if (kslInfo == nullptr || !kslInfo->networkInUse) {
            continue;  // a logger that stands alone needs no name
        }
        if (!kslInfo->getLoggerName(mac, name)) {
            logError("incomplete logger info");
        }
    }
    return names;
}

bool isComplete(const SignalData& signal) {
    return signal.valid && !signal.instanceName.empty() && !signal.webappName.empty();
}

Value catalogueEntry(const SignalKey& key, const SignalData& signal, const std::string& loggerName,
                     Document::AllocatorType& allocator) {
    Value entry(rapidjson::kObjectType);
    const auto add = [&](const char* name, Value value) {
        entry.AddMember(rapidjson::StringRef(name), value, allocator);
    };
    Value signalKey(rapidjson::kArrayType);
    signalKey.Reserve(2, allocator);
    signalKey.PushBack(Value(key.first, allocator), allocator);
    signalKey.PushBack(Value(key.second, allocator), allocator);

    add("logger_name", Value(loggerName, allocator));
    add("bus_id", Value(rapidjson::StringRef(busIdText(signal.busId))));
    add("channel", Value(static_cast<unsigned int>(signal.channel)));
    add("ksl_offset", Value(static_cast<unsigned int>(signal.kslOffset)));
    add("userDefinedName", Value(signal.userName, allocator));
    add("unit", Value(signal.unit, allocator));
    add("signal_key", std::move(signalKey));  // what starts the signal
    return entry;
}

/// The calling thread's own, for its room to be used again and again.
klv::SignalValueText& valueText() {
    thread_local klv::SignalValueText text;
    return text;
}

void takeConfigurations(const KRPResponseGetLVSignalConfig& answer, const std::string& source) {
    // An answer that comes when nobody waits for one refreshes its logger's signals and counts for
    // nothing: it must neither empty the catalogue nor complete a later cycle.
    const bool counts = signalInfo->addAnswer(source);
    for (const auto& config : answer.configs) {
        signalInfo->updateSignalConfiguration(config, source);
    }
    if (counts) {
        signalInfo->completeCycle(neighbourCount());
    }
}

}  // namespace

void passOnValue(const SignalMessage& message, const std::string& source) {
    std::string_view text;
    signalInfo->updateAndUse(
        message, source, [&text](const SignalData& signal) { text = valueText().write(signal); });
    if (!text.empty()) {
        sendMessageText(text);
    }
}

WaResponseGetSignalNames::WaResponseGetSignalNames(const KRPResponseGetLVSignalConfig* answer,
                                                   const std::string& source) {
    LogUtil::log(LogLevel::Info, "WaResponseGetSignalNames",
                 "KRPResponseGetLVSignalConfig: " + answer->toString());
    if (answer->isBusy()) {
        klv::waitBeforeAskingAgain();
        getSignalNames(source);
        return;
    }
    if (answer->getStatus() != KRPMessageResponse::KRPSTATUS_OK) {
        LogUtil::log(LogLevel::Debug, "WaResponseGetSignalNames", "KRP bus is busy");
        addText("response", kGetSignalNames);
        addKrpStatus(answer);
        sendMessage();
        return;
    }
    takeConfigurations(*answer, source);
    sendResponse<WaResponseGetSignalNames>();
}

WaResponseGetSignalNames::WaResponseGetSignalNames() {
    auto& allocator = document.GetAllocator();
    addText("response", kGetSignalNames);
    const auto names = loggerNames();
    Value streams(rapidjson::kArrayType);
    std::size_t incomplete = 0;
    signalInfo->forEachSignal([&](const SignalKey& key, const SignalData& signal) {
        const auto name = names.find(key.second);
        streams.PushBack(
            catalogueEntry(key, signal, name == names.end() ? std::string() : name->second,
                           allocator),
            allocator);
        incomplete += isComplete(signal) ? 0U : 1U;
    });
    for (; incomplete != 0; --incomplete) {
        logError("incomplete signal info");
    }
    document.AddMember("Streams", streams, allocator);
    addStatus(signalInfo->configState == KSL_MSG_STATE_COMPLETE ? KR_STATE_OK : KR_STATE_PROGRESS,
              KR_ERROR_UNSPECIFIED, "");
    sendMessage();
}

WaResponseSignal::WaResponseSignal(const SignalKey& key) {
    const SignalData signal = signalInfo->getSignalData(key);
    if (!signal.active) {
        return;
    }
    sendMessageText(valueText().write(signal));
}
