#include "modules/module_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

using Table = ModuleTable;

TEST(ModuleTable, IsTheProductsAtFirst) {
    EXPECT_EQ(moduleTable, &kModules);
}

TEST(ModuleTable, OffersCommandsInTheOrderOfTheProtocol) {
    EXPECT_EQ(kModules.common, wa_handle_message_common);
    EXPECT_EQ(kModules.commands,
              (decltype(Table::commands){wa_handle_message_config, wa_handle_message_busload,
                                         wa_handle_message_signal, wa_handle_message_trigger,
                                         wa_handle_message_audio, wa_handle_message_monitor}));
}

TEST(ModuleTable, SetsTheRequestsUpFirst) {
    EXPECT_EQ(kModules.setUp, (decltype(Table::setUp){waRequestMessage_setup, monitor_module_setup,
                                                      busload_module_setup, trigger_module_setup,
                                                      signal_module_setup}));
}

TEST(ModuleTable, EndsTheRequestsLast) {
    const decltype(Table::tearDown) expected = {
        {{"stop monitor", monitor_module_destroy},
         {"stop busload", busload_module_destroy},
         {"stop trigger", trigger_module_destroy},
         {"stop signal", signal_module_destroy},
         {"waRequestMessage_destroy", waRequestMessage_destroy}}};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(kModules.tearDown[i].logged, expected[i].logged);
        EXPECT_EQ(kModules.tearDown[i].destroy, expected[i].destroy) << expected[i].logged;
    }
}

TEST(ModuleTable, RoutesEveryKindToItsModule) {
    const Table::Routing& routing = kModules.routing;
    EXPECT_EQ(routing.busload, handleBusloadMessages);
    EXPECT_EQ(routing.monitor, handleMonitorMessages);
    EXPECT_EQ(routing.signal, handleSignalMessages);
    EXPECT_EQ(routing.common, handleCommonMessages);
    EXPECT_EQ(routing.audio, handleAudioMessages);
    EXPECT_EQ(routing.trigger, handleTriggerMessages);
    EXPECT_EQ(routing.sendSetTrigger, sendSetTrigger);
    EXPECT_EQ(routing.getTrigger, static_cast<void (*)(int)>(getTrigger));
    EXPECT_EQ(routing.busloadSetUnknown, busloadSetUnknown);
}

TEST(ModuleTable, TellsTheNetworkFirstThatTheBusIsBack) {
    EXPECT_EQ(kModules.busReconnected,
              (decltype(Table::busReconnected){networkBusReconnected, busloadBusReconnected,
                                               signalBusReconnected, triggerBusReconnected}));
}

}  // namespace
