// Sessions that run: threads, modules and a real bus server.
#include <apr_pools.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <thread>

#include "base/log.h"
#include "modules/audio/upload_info.h"
#include "network/ksl_info.h"
#include "plugin/lv_websocket.h"
#include "plugin/plugin_callbacks.h"
#include "setup/lv_setup.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/rough_host.h"
#include "tests/plugin/allocation_fault.h"
#include "tests/plugin/without_times.h"
#include "tests/threads/apr_faults.h"
#include "threads/thread_krpbus_lv_data.h"
#include "threads/thread_name.h"

namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;
using testing::HasSubstr;

// The names of the session's worker threads that there are. The bus engine's client library has
// threads of its own, which live as long as the process.
Lines workerThreads() {
    Lines names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        if (name.starts_with("ping_run") || name.starts_with("krpbus")) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Those that there still are when the kernel has had time to forget the ones that have been joined.
Lines workerThreadsLeft() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!workerThreads().empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return workerThreads();
}

// The log's lines of these functions, in their order.
Lines linesOf(const LogCapture& capture, const Lines& functions) {
    Lines lines;
    for (const std::string& line : capture.logLines()) {
        const bool wanted = std::any_of(functions.begin(), functions.end(), [&](const auto& name) {
            return line.find("KLV::" + name + "() ") != std::string::npos;
        });
        if (wanted) {
            lines.push_back(withoutTimes(line));
        }
    }
    return lines;
}

// A rough host with a bus server behind the plug-in.
class RunningSession : public testing::Test {
  protected:
    void SetUp() override {
        setenv("KRPBUS_SERVER", nats_.address().c_str(), 1);
        setenv("KRPBUS_MAC", "02:00:00:00:00:01", 1);
        setenv("KSL_CONFIG_FILE", "/nonexistent/network.xml", 1);
    }

    NatsServer nats_;
    LogCapture capture_;
};

}  // namespace

TEST_F(RunningSession, StartsItsThreadsAroundTheModulesAndStopsThemInOrder) {
    RoughHost host(krwebsocket_init());
    EXPECT_STREQ(static_cast<const char*>(host.connect()), "Hello");
    EXPECT_EQ(getThreadName(), "live_view_17");
    EXPECT_EQ(lvWebsocket->isKeepAliveActive(), 1U);
    ASSERT_NE(stp, nullptr);
    EXPECT_NE(stp->krpbus, nullptr);
    EXPECT_THAT(stp->krpbus_name, testing::MatchesRegex("17_KLV[0-9]+"));
    EXPECT_THAT(linesOf(capture_, {"start_modules", "ping_module_setup", "ThreadKrpbusData",
                                   "trigger_module_setup"}),
                ElementsAre("[INFO] KLV::start_modules() start threads!",
                            "[DEBUG] KLV::ping_module_setup() setup ping module",
                            "[DEBUG] KLV::ThreadKrpbusData() kslEnabled: 0",
                            "[INFO] KLV::trigger_module_setup() setup trigger module",
                            "[DEBUG] KLV::start_modules() threadKrpbusData->start_thread()",
                            "[DEBUG] KLV::start_modules() return"));

    host.deliverText(R"({"command":"ping"})");
    EXPECT_TRUE(host.waitForText("\"ping\""));

    uploadfileInfo.announce(std::make_shared<UploadInfo>("a", "b"));
    const apr_pool_t* pool = stp->socket->pool;
    capture_.clear();
    host.disconnect();
    EXPECT_EQ(aprFaults.destroyedPool, pool);
    EXPECT_EQ(lvWebsocket, nullptr);
    EXPECT_EQ(stp, nullptr);
    EXPECT_EQ(kslInfo, nullptr);
    EXPECT_EQ(uploadfileInfo.get(), nullptr);
    EXPECT_THAT(
        linesOf(capture_, {"lv_destroy", "~LvWebsocket", "stop_thread", "krpbus_run", "ping_run",
                           "ping_module_destroy", "trigger_module_destroy",
                           "waRequestMessage_destroy", "closeBus", "~ThreadData"}),
        ElementsAre(
            "[INFO] KLV::lv_destroy() destroy LvWebsocket",
            "[DEBUG] KLV::lv_destroy() thread_ping_run->isActive()=1",
            "[INFO] KLV::~LvWebsocket() <time>: delete websocket",
            "[DEBUG] KLV::~LvWebsocket() stop_thread krpbus",
            "[DEBUG] KLV::stop_thread() stop thread: krpbus",
            "[DEBUG] KLV::stop_thread() runningThread: live_view_17",
            "[DEBUG] KLV::krpbus_run() krpbus_17 thread stopped [TID=<tid>]",
            HasSubstr("stopped thread krpbus"), HasSubstr("TIME: <ms>"),
            "[DEBUG] KLV::~LvWebsocket() stop ping",
            "[DEBUG] KLV::ping_module_destroy() stop ping thread",
            "[DEBUG] KLV::ping_module_destroy() stop ping ping_run",
            "[DEBUG] KLV::stop_thread() stop thread: ping_run",
            "[DEBUG] KLV::stop_thread() runningThread: live_view_17",
            "[DEBUG] KLV::ping_run() ping  thread stopped", HasSubstr("stopped thread ping_run"),
            HasSubstr("TIME: <ms>"), "[DEBUG] KLV::stop_thread() stop thread: ping_run",
            "[DEBUG] KLV::stop_thread() runningThread: live_view_17",
            "[DEBUG] KLV::~ThreadData() ThreadData ping_run deleted.",
            "[DEBUG] KLV::ping_module_destroy() ping module destroyed",
            "[DEBUG] KLV::~LvWebsocket() stop monitor", "[DEBUG] KLV::~LvWebsocket() stop busload",
            "[DEBUG] KLV::~LvWebsocket() stop trigger",
            "[INFO] KLV::trigger_module_destroy() destroy trigger module",
            "[DEBUG] KLV::~LvWebsocket() stop signal",
            "[DEBUG] KLV::~LvWebsocket() waRequestMessage_destroy",
            "[DEBUG] KLV::waRequestMessage_destroy() waRequestMessage module destroyed",
            "[DEBUG] KLV::~LvWebsocket() uploadfileInfo deleted",
            "[DEBUG] KLV::~LvWebsocket() kslInfo deleted",
            "[DEBUG] KLV::closeBus() delete krpBusClient",
            "[DEBUG] KLV::closeBus() krpBusClient deleted",
            "[DEBUG] KLV::~LvWebsocket() TIME: <ms>",
            "[DEBUG] KLV::~LvWebsocket() destroy memory pool",
            "[DEBUG] KLV::~LvWebsocket() LvWebsocket destroyed",
            "[DEBUG] KLV::lv_destroy() LvWebsocket destroyed",
            "[DEBUG] KLV::lv_destroy() finished"));
}

TEST_F(RunningSession, LogsTheTimeOfItsEndInMilliseconds) {
    RoughHost host(krwebsocket_init());
    host.connect();
    capture_.clear();
    const auto begin = std::chrono::steady_clock::now();
    host.disconnect();
    const std::chrono::duration<double, std::milli> taken =
        std::chrono::steady_clock::now() - begin;
    double logged = -1;
    double ofTheBusThread = -1;
    for (const std::string& line : capture_.logLines()) {
        const auto at = line.find("() TIME: ");
        if (at != std::string::npos) {
            const double time = std::stod(line.substr(at + 9));
            ofTheBusThread = ofTheBusThread < 0 ? time : ofTheBusThread;
            logged = time;
        }
    }
    // The wait for the bus thread is nearly all of it.
    EXPECT_GE(logged, ofTheBusThread);
    EXPECT_LE(logged, taken.count() + 1);
}

TEST_F(RunningSession, LeavesNoThreadBehind) {
    RoughHost host(krwebsocket_init());
    host.connect();
    const Lines running = {"krpbus-reader", "krpbus_17", "ping_run_17"};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (workerThreads() != running && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(workerThreads(), running);
    host.disconnect();
    EXPECT_THAT(workerThreadsLeft(), testing::IsEmpty());
}

TEST_F(RunningSession, IsFollowedInItsProcessByOneWithoutANetworkRecord) {
    {
        RoughHost first(krwebsocket_init());
        first.connect();
        first.disconnect();
    }
    RoughHost second(krwebsocket_init(), {.connectionId = 18});
    second.connect();
    EXPECT_EQ(getThreadName(), "live_view_18");
    second.deliverText(R"({"command":"ping"})");
    EXPECT_TRUE(second.waitForText("\"ping\""));
    second.deliverText(R"({"command":"get_bus_names"})");
    EXPECT_TRUE(second.waitForText("wait for logger info"));
    for (const char* command :
         {"get_logger_info", "get_logger_status", "get_ksl_network", "get_ksl_time_offset"}) {
        second.deliverText(std::string(R"({"command":")") + command + R"("})");
    }
    EXPECT_TRUE(second.waitForText("\"get_logger_info\""));
    const Lines lines = capture_.logLines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("() no kslInfo") != std::string::npos;
    }));
    second.disconnect();
    EXPECT_EQ(stp, nullptr);
}

TEST_F(RunningSession, EndsItsThreadsWhenItsConstructorCannotGoOn) {
    RoughHost host(krwebsocket_init());
    failingAllocationSize = sizeof(ThreadKrpbusLvData);
    EXPECT_THROW(host.connect(), std::bad_alloc);
    EXPECT_EQ(failingAllocationSize, 0U);
    EXPECT_EQ(lvWebsocket, nullptr);
    EXPECT_EQ(stp, nullptr);
    EXPECT_THAT(workerThreadsLeft(), testing::IsEmpty());
    EXPECT_THAT(host.frames(), testing::IsEmpty());
    EXPECT_NE(kslInfo, nullptr);
}

TEST_F(RunningSession, StartModulesTellsWhetherBothThreadsCouldBeStarted) {
    RecordingHost host;
    LvWebsocket session;
    ASSERT_EQ(session.setup_socket(host.server()), 0);
    EXPECT_EQ(session.start_modules(), 0U);
}

TEST_F(RunningSession, StartModulesTellsThatTheKeepAliveThreadCouldNotBeStarted) {
    RecordingHost host;
    LvWebsocket session;
    ASSERT_EQ(session.setup_socket(host.server()), 0);
    aprFaults.failThreadNumber = 1;
    EXPECT_EQ(session.start_modules(), static_cast<unsigned>(-1));
    EXPECT_EQ(aprFaults.threadsCreated, 1);
}

TEST_F(RunningSession, StartModulesTellsThatTheBusThreadCouldNotBeStarted) {
    RecordingHost host;
    LvWebsocket session;
    ASSERT_EQ(session.setup_socket(host.server()), 0);
    aprFaults.failThreadNumber = 2;
    EXPECT_EQ(session.start_modules(), static_cast<unsigned>(-1));
    EXPECT_EQ(aprFaults.threadsCreated, 1);
}

TEST_F(RunningSession, GoesOnWithoutThreadsThatCouldNotBeStarted) {
    RoughHost host(krwebsocket_init());
    aprFaults.failThreadCreate = true;
    host.connect();
    EXPECT_EQ(lvWebsocket->isKeepAliveActive(), 0U);
    host.disconnect();
    EXPECT_EQ(linesOf(capture_, {"lv_destroy"})[1],
              "[DEBUG] KLV::lv_destroy() thread_ping_run->isActive()=0");
}

class SessionWithoutAThread : public RunningSession, public testing::WithParamInterface<int> {};

TEST_P(SessionWithoutAThread, SendsItsBrowserAwayAtItsFirstFrame) {
    RoughHost host(krwebsocket_init());
    aprFaults.failThreadNumber = GetParam();
    host.connect();
    host.deliverText(R"({"command":"get_logger_info"})");
    ASSERT_FALSE(host.frames().empty());
    EXPECT_EQ(host.frames().back().type, WEBSOCKET_MESSAGE_CLOSE);
    EXPECT_EQ(host.frames().back().payload, "\x03\xE9");
    EXPECT_THAT(host.texts(), testing::IsEmpty());
    EXPECT_THAT(linesOf(capture_, {"krwebsocket_on_message"}),
                ElementsAre("[ERROR] KLV::krwebsocket_on_message() the session has no threads, so "
                            "the browser is sent away"));
    host.disconnect();
    EXPECT_THAT(workerThreadsLeft(), testing::IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(, SessionWithoutAThread, testing::Values(1, 2));

TEST_F(RunningSession, NeedsNoZeroByteAndNoRepliesDuringTheHandshake) {
    nats_.stop();
    RoughHost host(krwebsocket_init());
    // The bus thread has something to say while the handshake is still under way; this host takes
    // it when on_connect has returned.
    host.connect();
    EXPECT_TRUE(host.waitForText("not connected"));
    host.deliverText("[");
    host.deliverText("undefined");
    host.deliverText("{}");
    host.deliverText("");
    host.deliver(WEBSOCKET_MESSAGE_BINARY, "abc");
    host.deliver(WEBSOCKET_MESSAGE_CLOSE, "bye");
    ASSERT_EQ(host.texts().size(), 6U);
    EXPECT_THAT(host.texts()[1], HasSubstr("At Position: 1. ([)"));
    EXPECT_THAT(host.texts()[2], HasSubstr("\\\"undefined\\\" received"));
    EXPECT_THAT(host.texts()[3], HasSubstr("{} received"));
    EXPECT_THAT(host.texts()[4], HasSubstr("no data received"));
    EXPECT_THAT(host.texts()[5], HasSubstr("no_data_upload"));
    host.disconnect();
}

TEST_F(RunningSession, HoldsNoLockWhileASenderWaitsWithoutEnd) {
    RoughHost host(krwebsocket_init());
    host.connect();
    uploadfileInfo.announce(std::make_shared<UploadInfoAudio>("n", "", 1U, 2U, "m"));
    host.blockSenders();
    std::thread sender([&host] { host.deliverText("[]"); });
    EXPECT_TRUE(host.waitForBlockedSender());
    // All of this would stand still if the waiting sender held a lock.
    LogUtil::log(LogLevel::Info, "test", "the log goes on");
    EXPECT_TRUE(capture_.waitForLine("[INFO] KLV::test() the log goes on"));
    EXPECT_NE(uploadfileInfo.take(), nullptr);
    host.releaseSenders();
    sender.join();
    EXPECT_EQ(host.texts().size(), 1U);
    host.disconnect();
}
