// In which order a session sets its modules up, ends them, and offers them a command: as its table
// of modules says. The table here is the test's own, since every module but one takes only what is
// its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/log.h"
#include "modules/module_table.h"
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
const ThreadKrpbusData* thirdsThread = nullptr;
const ThreadKrpbusData* fifthsThread = nullptr;

int called(const char* function) {
    LogUtil::log(LogLevel::Debug, "called", function);
    return 0;
}

int offer(const char* module) {
    offered.emplace_back(module);
    return taker == module ? 1 : 0;
}

template <std::size_t number>
int offeredTo(const std::string&, const Document&) {
    static constexpr std::array kNames = {"common",  "config", "busload", "signal",
                                          "trigger", "audio",  "monitor", "further"};
    return offer(kNames[number]);
}

// The second has no use for anything.
const std::array<ModuleTable::Further, 2> kFurther = {{
    {.command = offeredTo<7>,
     .setUp = [] { called("further set up"); },
     .destroy = [] { called("further destroyed"); }},
    {},
}};

const ModuleTable kRecordingModules = [] {
    ModuleTable modules = kModules;
    modules.common = offeredTo<0>;
    modules.commands = {offeredTo<1>, offeredTo<2>, offeredTo<3>,
                        offeredTo<4>, offeredTo<5>, offeredTo<6>};
    modules.setUp = {
        +[] { called("first set up"); },
        +[] { return called("second set up"); },
        +[](ThreadKrpbusData* thread) {
            thirdsThread = thread;
            return called("third set up");
        },
        +[] { called("fourth set up"); },
        +[](ThreadKrpbusData* thread) {
            fifthsThread = thread;
            return called("fifth set up");
        },
    };
    modules.tearDown = {{
        {"stop first", +[] { return called("first destroyed"); }},
        {"stop second", +[] { called("second destroyed"); }},
        {"stop third", +[] { called("third destroyed"); }},
        {"stop fourth", +[] { called("fourth destroyed"); }},
        {"stop fifth", +[] { called("fifth destroyed"); }},
    }};
    modules.further = kFurther;
    return modules;
}();

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

TEST(ModuleOrder, OfASession) {
    moduleTable = &kRecordingModules;
    const NatsServer nats;
    setenv("KRPBUS_SERVER", nats.address().c_str(), 1);
    setenv("KSL_CONFIG_FILE", "/nonexistent/network.xml", 1);
    RecordingHost host;
    LogCapture capture;
    krwebsocket_on_connect(host.server());
    EXPECT_THAT(
        orderOf(capture),
        ElementsAre("[INFO] KLV::start_modules() start threads!",
                    "[DEBUG] KLV::ping_module_setup() setup ping module",
                    "[DEBUG] KLV::start_thread() TIME: <ms>",
                    "[DEBUG] KLV::ThreadKrpbusData() kslEnabled: 0",
                    "[DEBUG] KLV::called() first set up", "[DEBUG] KLV::called() second set up",
                    "[DEBUG] KLV::called() third set up", "[DEBUG] KLV::called() fourth set up",
                    "[DEBUG] KLV::called() fifth set up", "[DEBUG] KLV::called() further set up",
                    "[DEBUG] KLV::start_modules() threadKrpbusData->start_thread()",
                    "[DEBUG] KLV::start_thread() TIME: <ms>",
                    "[DEBUG] KLV::start_modules() return"));
    ASSERT_NE(thirdsThread, nullptr);
    EXPECT_EQ(thirdsThread, fifthsThread);
    EXPECT_EQ(thirdsThread->getName(), "krpbus");
    EXPECT_EQ(thirdsThread->getId(), 0U);

    capture.clear();
    krwebsocket_on_disconnect(nullptr, host.server());
    EXPECT_THAT(
        orderOf(capture),
        ElementsAre(
            "[INFO] KLV::~LvWebsocket() <time>: delete websocket",
            "[DEBUG] KLV::~LvWebsocket() stop_thread krpbus",
            "[DEBUG] KLV::~LvWebsocket() stop ping",
            "[DEBUG] KLV::ping_module_destroy() stop ping thread",
            "[DEBUG] KLV::ping_module_destroy() stop ping ping_run",
            "[DEBUG] KLV::ping_module_destroy() ping module destroyed",
            "[DEBUG] KLV::called() further destroyed", "[DEBUG] KLV::~LvWebsocket() stop first",
            "[DEBUG] KLV::called() first destroyed", "[DEBUG] KLV::~LvWebsocket() stop second",
            "[DEBUG] KLV::called() second destroyed", "[DEBUG] KLV::~LvWebsocket() stop third",
            "[DEBUG] KLV::called() third destroyed", "[DEBUG] KLV::~LvWebsocket() stop fourth",
            "[DEBUG] KLV::called() fourth destroyed", "[DEBUG] KLV::~LvWebsocket() stop fifth",
            "[DEBUG] KLV::called() fifth destroyed",
            "[DEBUG] KLV::~LvWebsocket() uploadfileInfo deleted",
            "[DEBUG] KLV::~LvWebsocket() kslInfo deleted",
            "[DEBUG] KLV::closeBus() delete krpBusClient",
            "[DEBUG] KLV::closeBus() krpBusClient deleted",
            "[DEBUG] KLV::~LvWebsocket() TIME: <ms>",
            "[DEBUG] KLV::~LvWebsocket() destroy memory pool",
            "[DEBUG] KLV::~LvWebsocket() LvWebsocket destroyed"));
}

TEST(ModuleOrder, GoesOnBehindAnEndThatFails) {
    const std::array<ModuleTable::Further, 2> further = {{
        {.destroy = [] { throw std::runtime_error("no last words"); }},
        {.destroy = [] { called("further destroyed"); }},
    }};
    ModuleTable failing = kRecordingModules;
    failing.tearDown[1].destroy = +[]() -> int { throw std::bad_alloc(); };
    failing.tearDown[4].destroy = +[] { throw std::runtime_error("nothing to send with"); };
    failing.further = further;
    moduleTable = &failing;
    const LogCapture capture;
    tearDownModules([](std::string_view line) { LogUtil::log(LogLevel::Debug, "end", line); });
    moduleTable = &kRecordingModules;
    EXPECT_THAT(
        capture.logLines(),
        ElementsAre("[ERROR] KLV::tearDownModules() no last words",
                    "[DEBUG] KLV::called() further destroyed", "[DEBUG] KLV::end() stop first",
                    "[DEBUG] KLV::called() first destroyed", "[DEBUG] KLV::end() stop second",
                    "[ERROR] KLV::tearDownModules() std::bad_alloc",
                    "[DEBUG] KLV::end() stop third", "[DEBUG] KLV::called() third destroyed",
                    "[DEBUG] KLV::end() stop fourth", "[DEBUG] KLV::called() fourth destroyed",
                    "[DEBUG] KLV::end() stop fifth",
                    "[ERROR] KLV::tearDownModules() nothing to send with"));
}

class OfferOrder : public FrameSession {
  protected:
    OfferOrder() { moduleTable = &kRecordingModules; }

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
    const Lines order = {"common",  "config", "busload", "signal",
                         "trigger", "audio",  "monitor", "further"};
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
