// In which order a session sets its modules up, ends them, and offers them a command. The linker
// leads all of that through this file, since every module but one takes only what is its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/log.h"
#include "plugin/plugin_callbacks.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/recording_host.h"
#include "tests/plugin/frame_session.h"
#include "tests/plugin/without_times.h"
#include "threads/thread_krpbus_data.h"

namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;

// The module that takes the command; empty: none does.
std::string taker;
Lines offered;
const ThreadKrpbusData* busloadsThread = nullptr;
const ThreadKrpbusData* signalsThread = nullptr;

int called(const char* function) {
    LogUtil::log(LogLevel::Debug, "called", function);
    return 0;
}

int offer(const char* module) {
    offered.emplace_back(module);
    return taker == module ? 1 : 0;
}

// The log's lines that show the order of a start or an end.
Lines orderOf(const LogCapture& capture) {
    Lines lines;
    for (const std::string& line : capture.logLines()) {
        for (const char* function :
             {"called", "start_modules", "ping_module_setup", "start_thread", "ThreadKrpbusData",
              "~LvWebsocket", "ping_module_destroy", "closeBus"}) {
            if (line.find("KLV::" + std::string(function) + "() ") != std::string::npos) {
                lines.push_back(withoutTimes(line));
            }
        }
    }
    return lines;
}

}  // namespace

// clang-format off
extern "C" {

void wrappedRequestSetup() __asm__("__wrap__Z22waRequestMessage_setupv");
void wrappedRequestDestroy() __asm__("__wrap__Z24waRequestMessage_destroyv");
int wrappedMonitorSetup() __asm__("__wrap__Z20monitor_module_setupv");
int wrappedMonitorDestroy() __asm__("__wrap__Z22monitor_module_destroyv");
int wrappedBusloadSetup(ThreadKrpbusData*) __asm__("__wrap__Z20busload_module_setupP16ThreadKrpbusData");
int wrappedBusloadDestroy() __asm__("__wrap__Z22busload_module_destroyv");
int wrappedTriggerSetup() __asm__("__wrap__Z20trigger_module_setupv");
int wrappedTriggerDestroy() __asm__("__wrap__Z22trigger_module_destroyv");
int wrappedSignalSetup(ThreadKrpbusData*) __asm__("__wrap__Z19signal_module_setupP16ThreadKrpbusData");
int wrappedSignalDestroy() __asm__("__wrap__Z21signal_module_destroyv");

#define HANDLER_ARGUMENTS                                                          \
    "RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERKN9rapidjson15Generic" \
    "DocumentINS7_4UTF8IcEENS7_19MemoryPoolAllocatorINS7_12CrtAllocatorEEESC_EE"

int wrappedCommon(const std::string&, const Document&) __asm__("__wrap__Z24wa_handle_message_common" HANDLER_ARGUMENTS);
int wrappedConfig(const std::string&, const Document&) __asm__("__wrap__Z24wa_handle_message_config" HANDLER_ARGUMENTS);
int wrappedBusload(const std::string&, const Document&) __asm__("__wrap__Z25wa_handle_message_busload" HANDLER_ARGUMENTS);
int wrappedSignal(const std::string&, const Document&) __asm__("__wrap__Z24wa_handle_message_signal" HANDLER_ARGUMENTS);
int wrappedTrigger(const std::string&, const Document&) __asm__("__wrap__Z25wa_handle_message_trigger" HANDLER_ARGUMENTS);
int wrappedAudio(const std::string&, const Document&) __asm__("__wrap__Z23wa_handle_message_audio" HANDLER_ARGUMENTS);
int wrappedMonitor(const std::string&, const Document&) __asm__("__wrap__Z25wa_handle_message_monitor" HANDLER_ARGUMENTS);

#undef HANDLER_ARGUMENTS

}  // extern "C"
// clang-format on

void wrappedRequestSetup() {
    called("waRequestMessage_setup");
}
void wrappedRequestDestroy() {
    called("waRequestMessage_destroy");
}
int wrappedMonitorSetup() {
    return called("monitor_module_setup");
}
int wrappedMonitorDestroy() {
    return called("monitor_module_destroy");
}
int wrappedBusloadSetup(ThreadKrpbusData* thread) {
    busloadsThread = thread;
    return called("busload_module_setup");
}
int wrappedBusloadDestroy() {
    return called("busload_module_destroy");
}
int wrappedTriggerSetup() {
    return called("trigger_module_setup");
}
int wrappedTriggerDestroy() {
    return called("trigger_module_destroy");
}
int wrappedSignalSetup(ThreadKrpbusData* thread) {
    signalsThread = thread;
    return called("signal_module_setup");
}
int wrappedSignalDestroy() {
    return called("signal_module_destroy");
}

int wrappedCommon(const std::string&, const Document&) {
    return offer("common");
}
int wrappedConfig(const std::string&, const Document&) {
    return offer("config");
}
int wrappedBusload(const std::string&, const Document&) {
    return offer("busload");
}
int wrappedSignal(const std::string&, const Document&) {
    return offer("signal");
}
int wrappedTrigger(const std::string&, const Document&) {
    return offer("trigger");
}
int wrappedAudio(const std::string&, const Document&) {
    return offer("audio");
}
int wrappedMonitor(const std::string&, const Document&) {
    return offer("monitor");
}

TEST(ModuleOrder, OfASession) {
    const NatsServer nats;
    setenv("KRPBUS_SERVER", nats.address().c_str(), 1);
    setenv("KSL_CONFIG_FILE", "/nonexistent/network.xml", 1);
    RecordingHost host;
    LogCapture capture;
    krwebsocket_on_connect(host.server());
    EXPECT_THAT(orderOf(capture),
                ElementsAre("[INFO] KLV::start_modules() start threads!",
                            "[DEBUG] KLV::ping_module_setup() setup ping module",
                            "[DEBUG] KLV::start_thread() TIME: <ms>",
                            "[DEBUG] KLV::ThreadKrpbusData() kslEnabled: 0",
                            "[DEBUG] KLV::called() waRequestMessage_setup",
                            "[DEBUG] KLV::called() monitor_module_setup",
                            "[DEBUG] KLV::called() busload_module_setup",
                            "[DEBUG] KLV::called() trigger_module_setup",
                            "[DEBUG] KLV::called() signal_module_setup",
                            "[DEBUG] KLV::start_modules() threadKrpbusData->start_thread()",
                            "[DEBUG] KLV::start_thread() TIME: <ms>",
                            "[DEBUG] KLV::start_modules() return"));
    ASSERT_NE(busloadsThread, nullptr);
    EXPECT_EQ(busloadsThread, signalsThread);
    EXPECT_EQ(busloadsThread->getName(), "krpbus");
    EXPECT_EQ(busloadsThread->getId(), 0U);

    capture.clear();
    krwebsocket_on_disconnect(nullptr, host.server());
    EXPECT_THAT(orderOf(capture),
                ElementsAre("[INFO] KLV::~LvWebsocket() <time>: delete websocket",
                            "[DEBUG] KLV::~LvWebsocket() stop_thread krpbus",
                            "[DEBUG] KLV::~LvWebsocket() stop ping",
                            "[DEBUG] KLV::ping_module_destroy() stop ping thread",
                            "[DEBUG] KLV::ping_module_destroy() stop ping ping_run",
                            "[DEBUG] KLV::ping_module_destroy() ping module destroyed",
                            "[DEBUG] KLV::~LvWebsocket() stop monitor",
                            "[DEBUG] KLV::called() monitor_module_destroy",
                            "[DEBUG] KLV::~LvWebsocket() stop busload",
                            "[DEBUG] KLV::called() busload_module_destroy",
                            "[DEBUG] KLV::~LvWebsocket() stop trigger",
                            "[DEBUG] KLV::called() trigger_module_destroy",
                            "[DEBUG] KLV::~LvWebsocket() stop signal",
                            "[DEBUG] KLV::called() signal_module_destroy",
                            "[DEBUG] KLV::~LvWebsocket() waRequestMessage_destroy",
                            "[DEBUG] KLV::called() waRequestMessage_destroy",
                            "[DEBUG] KLV::~LvWebsocket() uploadfileInfo deleted",
                            "[DEBUG] KLV::~LvWebsocket() kslInfo deleted",
                            "[DEBUG] KLV::closeBus() delete krpBusClient",
                            "[DEBUG] KLV::closeBus() krpBusClient deleted",
                            "[DEBUG] KLV::~LvWebsocket() TIME: <ms>",
                            "[DEBUG] KLV::~LvWebsocket() destroy memory pool",
                            "[DEBUG] KLV::~LvWebsocket() LvWebsocket destroyed"));
}

class OfferOrder : public FrameSession {
  protected:
    // The modules that a command was offered to while this one takes it.
    Lines offeredTo(const std::string& module, const std::string& command = "x") {
        taker = module;
        offered.clear();
        deliver(R"({"command":")" + command + R"("})");
        return offered;
    }
};

TEST_F(OfferOrder, IsTheSameForEveryCommand) {
    setLoggerInfoComplete(true);
    const Lines order = {"common", "config", "busload", "signal", "trigger", "audio", "monitor"};
    for (auto last = order.begin(); last != order.end(); ++last) {
        EXPECT_EQ(offeredTo(*last), Lines(order.begin(), last + 1));
    }
    EXPECT_THAT(answers(), testing::IsEmpty()) << "whoever takes a command answers it";
    EXPECT_EQ(offeredTo(""), order);
    EXPECT_EQ(offeredTo("", "close_webapp"), order);
    EXPECT_THAT(answers(),
                ElementsAre(R"({"response":"x","status":"ERROR","error_code":"invalid_command"})",
                            "close 1001"));
}

TEST_F(OfferOrder, EndsWithTheCommonCommandsWhileTheLoggerInfoIsIncomplete) {
    setLoggerInfoComplete(false);
    EXPECT_THAT(offeredTo("common"), ElementsAre("common"));
    EXPECT_THAT(answers(), testing::IsEmpty());
    EXPECT_THAT(offeredTo("config"), ElementsAre("common"));
    EXPECT_THAT(
        answers(),
        ElementsAre(R"({"response":"x","status":"ERROR","error_code":"wait for logger info"})"));
}

TEST_F(OfferOrder, OffersAPingToNobody) {
    setLoggerInfoComplete(true);
    EXPECT_THAT(offeredTo("common", "ping"), testing::IsEmpty());
}
