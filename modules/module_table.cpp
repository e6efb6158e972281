#include "modules/module_table.h"

#include <exception>
#include <initializer_list>

#include "base/log.h"
#include "modules/audio/audio_module.h"
#include "modules/busload/busload_module.h"
#include "modules/busload/busload_values.h"
#include "modules/config/config_module.h"
#include "modules/monitor/monitor_module.h"
#include "modules/signal/signal_module.h"
#include "modules/trigger/trigger_commands.h"
#include "modules/trigger/trigger_module.h"
#include "modules/trigger/trigger_responses.h"
#include "network/bus_requests.h"
#include "network/common_commands.h"
#include "network/common_responses.h"

namespace {

/// Modules whose place in the orders nothing fixes: one line each, {.command = ..., ...}.
constexpr std::initializer_list<ModuleTable::Further> kFurtherModules = {};

}  // namespace

constinit const ModuleTable kModules = {
    .common = wa_handle_message_common,
    .commands =
        {
            wa_handle_message_config,
            wa_handle_message_busload,
            wa_handle_message_signal,
            wa_handle_message_trigger,
            wa_handle_message_audio,
            wa_handle_message_monitor,
        },
    .setUp =
        {
            waRequestMessage_setup,
            monitor_module_setup,
            busload_module_setup,
            trigger_module_setup,
            signal_module_setup,
        },
    .tearDown = {{
        {"stop monitor", monitor_module_destroy},
        {"stop busload", busload_module_destroy},
        {"stop trigger", trigger_module_destroy},
        {"stop signal", signal_module_destroy},
        {"waRequestMessage_destroy", waRequestMessage_destroy},
    }},
    .routing =
        {
            .busload = handleBusloadMessages,
            .monitor = handleMonitorMessages,
            .signal = handleSignalMessages,
            .common = handleCommonMessages,
            .audio = handleAudioMessages,
            .trigger = handleTriggerMessages,
            .sendSetTrigger = sendSetTrigger,
            .getTrigger = getTrigger,
            .busloadSetUnknown = busloadSetUnknown,
        },
    .busReconnected =
        {
            networkBusReconnected,
            busloadBusReconnected,
            signalBusReconnected,
            triggerBusReconnected,
        },
    .further = {kFurtherModules.begin(), kFurtherModules.size()},
};

const ModuleTable* moduleTable = &kModules;

void setUpModules(ThreadKrpbusData* busThread) {
    struct Call {
        ThreadKrpbusData* busThread;
        void operator()(void (*setUp)()) const { setUp(); }
        void operator()(int (*setUp)()) const { setUp(); }
        void operator()(int (*setUp)(ThreadKrpbusData*)) const { setUp(busThread); }
    };
    for (const auto& setUp : moduleTable->setUp) {
        std::visit(Call{busThread}, setUp);
    }
    for (const auto& module : moduleTable->further) {
        if (module.setUp != nullptr) {
            module.setUp();
        }
    }
}

namespace {

/// The end of a session is not allowed to fail: one module that lacks memory for its last words
/// must not keep the others from their end.
template <class End>
void endOne(const End& end) noexcept {
    try {
        end();
    } catch (const std::exception& exception) {
        LogUtil::log(LogLevel::Error, "tearDownModules", exception.what());
    }
}

}  // namespace

void tearDownModules(void (*log)(std::string_view line)) {
    for (const auto& module : moduleTable->further) {
        if (module.destroy != nullptr) {
            endOne(module.destroy);
        }
    }
    for (const auto& [logged, destroy] : moduleTable->tearDown) {
        log(logged);
        std::visit([](const auto function) { endOne(function); }, destroy);
    }
}

bool offerCommand(const std::string& cmd, const Document& doc) {
    for (const auto handler : moduleTable->commands) {
        if (handler(cmd, doc) != 0) {
            return true;
        }
    }
    for (const auto& module : moduleTable->further) {
        if (module.command != nullptr && module.command(cmd, doc) != 0) {
            return true;
        }
    }
    return false;
}

void tellBusReconnected() {
    for (const auto busReconnected : moduleTable->busReconnected) {
        busReconnected();
    }
    for (const auto& module : moduleTable->further) {
        if (module.busReconnected != nullptr) {
            module.busReconnected();
        }
    }
}
