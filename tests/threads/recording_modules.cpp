#include "tests/threads/recording_modules.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/system_ng_event_message.h"

RecordingModules recordingModules;

namespace {

std::string nameOf(const MessageBase* message) {
    if (dynamic_cast<const RouterMessage*>(message) != nullptr) {
        return "RouterMessage";
    }
    if (dynamic_cast<const SignalMessage*>(message) != nullptr) {
        return "SignalMessage";
    }
    if (const auto* response = dynamic_cast<const KRPMessageResponse*>(message)) {
        return "answer" + std::to_string(response->getKrpMsgID());
    }
    return "other";
}

// Also for threads that may not look at the calls themselves yet.
std::atomic<std::size_t> callCount = 0;

int record(const std::string& handler, const MessageBase* message, const std::string& mac = {}) {
    recordingModules.calls.push_back(handler + " " + nameOf(message) +
                                     (mac.empty() ? "" : " " + mac));
    const bool claims = recordingModules.claiming.contains(handler);
    ++callCount;
    return claims ? 1 : 0;
}

void called(const std::string& function) {
    recordingModules.calls.push_back(function);
}

}  // namespace

bool RecordingModules::waitForCalls(std::size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (callCount < count && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return callCount >= count;
}

const ModuleTable RecordingModules::table = [] {
    ModuleTable modules = kModules;
    modules.routing = {
        .busload = [](const MessageBase* message,
                      const std::string& mac) { return record("busload", message, mac); },
        .monitor = [](const MessageBase* message) { return record("monitor", message); },
        .signal = [](const MessageBase* message,
                     const std::string& mac) { return record("signal", message, mac); },
        .common = [](const KRPMessageResponse* response,
                     const std::string& mac) { return record("common", response, mac); },
        .audio = [](const KRPMessageResponse* response) { return record("audio", response); },
        .trigger = [](const KRPMessageResponse* response,
                      const std::string& mac) { return record("trigger", response, mac); },
        .sendSetTrigger =
            [](const SystemNgEventMessage* event) {
                called("sendSetTrigger " + event->getMarkerId());
            },
        .getTrigger = [](int waitCount) { called("getTrigger " + std::to_string(waitCount)); },
        .busloadSetUnknown = [] { called("busloadSetUnknown"); },
    };
    modules.busReconnected = {
        [] { called("first reconnected"); },
        [] { called("second reconnected"); },
        [] { called("third reconnected"); },
        [] { called("fourth reconnected"); },
    };
    return modules;
}();

const ModuleTable RecordingModules::tableWithFurther = [] {
    static const std::array<ModuleTable::Further, 3> further = {{
        {},
        {.message = [](const MessageBase* message,
                       const std::string& mac) { return record("further", message, mac); },
         .busReconnected = [] { called("further reconnected"); }},
        {.message = [](const MessageBase* message,
                       const std::string& mac) { return record("last", message, mac); }},
    }};
    ModuleTable modules = table;
    modules.further = further;
    return modules;
}();
