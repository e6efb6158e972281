// The bus thread's beginning and end, and what it knows of itself.
#include "threads/thread_krpbus_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <semaphore>
#include <thread>

#include "base/log.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/system_set_state_message.h"
#include "tests/kit/bus_loggers.h"
#include "tests/threads/bus_thread.h"
#include "threads/keep_alive.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char* const kNotConnected =
    R"({"response":"krpbus","status":"ERROR","error_code":"krpbus_error","error_msg":"not connected"})";

std::atomic<bool> refuseClient{false};

// Where the last client was told to look for the bus server.
std::string clientHost = "(none)";
unsigned clientPort = 0;

std::string writeNetworkFile(const std::string& enabled, const std::string& active) {
    const std::string path = testing::TempDir() + "network-" + std::to_string(getpid()) + ".xml";
    std::ofstream(path) << "<ksl><name>Fleet</name><enabled>" << enabled << "</enabled><active>"
                        << active << "</active></ksl>";
    return path;
}

}  // namespace

// The client's constructor goes through here, for its arguments.
extern "C" void
wrappedClient(KRPBusClient*, const std::string&, const std::string&, unsigned short, const KRPBusOptions&) __asm__(
    "__wrap__ZN12KRPBusClientC1ERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES7_"
    "tRK13KRPBusOptions");
extern "C" void
realClient(KRPBusClient*, const std::string&, const std::string&, unsigned short, const KRPBusOptions&) __asm__(
    "__real__ZN12KRPBusClientC1ERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES7_"
    "tRK13KRPBusOptions");

void wrappedClient(KRPBusClient* client, const std::string& name, const std::string& host,
                   unsigned short port, const KRPBusOptions& options) {
    if (name.find("_KLV") != std::string::npos) {
        clientHost = host;
        clientPort = port;
    }
    realClient(client, name, host, port, options);
}

// Lets the process be out of memory for one client.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (refuseClient && size == sizeof(KRPBusClient)) {
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

TEST_F(BusThread, ConnectsAndGivesItsClientToTheSession) {
    const RecordingThread& thread = make();
    EXPECT_TRUE(thread.isConnected());
    ASSERT_NE(session_.setup.krpbus, nullptr);
    EXPECT_EQ(session_.setup.krpbus->getName(), thread.getBusName());
    EXPECT_EQ(session_.setup.krpbus_name, thread.getBusName());
    EXPECT_NE(BaseSignal::debug, 0);
    EXPECT_THAT(log_.logLines("ThreadKrpbusData"),
                ElementsAre("[DEBUG] KLV::ThreadKrpbusData() kslEnabled: 0"));
    EXPECT_THAT(log_.logLines("setupKrpClient"), IsEmpty());
}

TEST_F(BusThread, LeavesTheChoiceOfTheServerToTheClientAndNamesItsPort) {
    make();
    EXPECT_EQ(clientHost, "");
    EXPECT_EQ(clientPort, 20010U);
}

TEST_F(BusThread, AnnouncesItselfToTheBusServer) {
    const BusLogger logger(kLocal, {}, nats_.port());
    const RecordingThread& thread = make();
    const SystemSetStateKrpBusMessage announced(KRPBus::statusNames[2], "", 0);
    EXPECT_TRUE(logger.waitForReceived("KRPBusServer from " + thread.getBusName() + ": " +
                                       announced.toString()));
}

TEST_F(BusThread, TakesTheNetworkForEnabledWhenBothSwitchesAreOn) {
    const std::string path = writeNetworkFile("true", "true");
    setenv("KSL_CONFIG_FILE", path.c_str(), 1);
    EXPECT_TRUE(make().isKslEnabled());
    EXPECT_THAT(log_.logLines(), Contains("[DEBUG] KLV::ThreadKrpbusData() kslEnabled: 1"));
    std::remove(path.c_str());
}

TEST_F(BusThread, TakesTheNetworkForDisabledWhenOneSwitchIsOff) {
    for (const auto& [enabled, active] : {std::pair{"true", "false"}, std::pair{"false", "true"}}) {
        const std::string path = writeNetworkFile(enabled, active);
        setenv("KSL_CONFIG_FILE", path.c_str(), 1);
        log_.clear();
        EXPECT_FALSE(make().isKslEnabled());
        EXPECT_THAT(log_.logLines(), Contains("[DEBUG] KLV::ThreadKrpbusData() kslEnabled: 0"));
        std::remove(path.c_str());
    }
}

TEST_F(BusThread, SendsTheLogToStandardErrorFromItsStartOn) {
    make();
    EXPECT_EQ(initalize_thread(thread_.get(), thread_.get()), 0);
    EXPECT_EQ(std::cout.rdbuf(), std::cerr.rdbuf());
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(BusThread, RunsOnlyForABusThread) {
    ThreadData plain(&session_.setup, 0, "plain", krpbus_run);
    plain.setActive(1);
    EXPECT_EQ(krpbus_run(nullptr, &plain), nullptr);
    plain.setActive(0);
}

TEST_F(BusThread, IgnoresMessagesByItself) {
    ThreadKrpbusData thread(&session_.setup, 0, "krpbus", krpbus_run);
    log_.clear();
    const SystemMessage message(SystemMessage::SM_STATE, "1-config");
    thread.handleMessages(&message);
    thread.handleReconnect();
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_THAT(log_.logLines(), IsEmpty());
}

TEST_F(BusThread, KnowsTheForwardingLoggerFromItsAddress) {
    make();
    std::string mac = "before";
    thread_->getMacAddress("ksl://0/02:00:00:00:00:0b/HandheldServer", mac);
    EXPECT_EQ(mac, "02:00:00:00:00:0B");
}

TEST_F(BusThread, TakesAPlainSourceForThisLogger) {
    make();
    for (const char* source : {"", "HandheldServer", "17_KLV1", "ksl://0/*/HandheldServer"}) {
        std::string mac = "before";
        thread_->getMacAddress(source, mac);
        EXPECT_EQ(mac, kLocal) << source;
    }
}

TEST_F(BusThread, DeletesItsClient) {
    make();
    log_.clear();
    thread_.reset();
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[DEBUG] KLV::~ThreadKrpbusData() delete krpBusClient",
                            "[DEBUG] KLV::~ThreadKrpbusData() krpBusClient deleted",
                            "[DEBUG] KLV::stop_thread() stop thread: krpbus",
                            HasSubstr("KLV::stop_thread() runningThread: "),
                            "[DEBUG] KLV::~ThreadData() ThreadData krpbus deleted."));
    EXPECT_EQ(session_.setup.krpbus, nullptr);
}

TEST_F(BusThread, ClosesTheBusOnceAndLeavesTheSessionAloneFromThenOn) {
    auto setup = std::make_unique<LvSetup>(session_.setup);
    auto thread = std::make_unique<RecordingThread>(setup.get());
    ASSERT_EQ(thread->start_thread(), 0);
    thread->stop_thread();
    log_.clear();
    thread->closeBus();
    EXPECT_EQ(setup->krpbus, nullptr);
    EXPECT_FALSE(thread->isConnected());
    setup.reset();
    thread->closeBus();
    EXPECT_THAT(log_.logLines(), ElementsAre("[DEBUG] KLV::closeBus() delete krpBusClient",
                                             "[DEBUG] KLV::closeBus() krpBusClient deleted"));
    log_.clear();
    thread.reset();
    EXPECT_EQ(log_.logLines().front(), "[DEBUG] KLV::~ThreadKrpbusData() krpBusClient is null;");
}

TEST(BusThreadWithoutServer, RetriesThreeTimesASecondApartAndTellsTheBrowserOnce) {
    NatsServer nats;
    useServer(nats);
    nats.stop();
    WorkerSession session;
    const LogCapture log;
    const auto begin = Clock::now();
    RecordingThread thread(&session.setup);
    EXPECT_GE(Clock::now() - begin, milliseconds(3000));
    const std::string retry =
        "[ERROR] KLV::setupKrpClient() Connection to KRPBus server failed, retrying...";
    EXPECT_THAT(log.logLines("setupKrpClient"), ElementsAre(retry, retry, retry));
    EXPECT_THAT(log.logLines("connectClient"),
                ElementsAre("[ERROR] KLV::connectClient() no bus server can be reached at nats://" +
                            nats.address()));
    // It announces itself all the same.
    EXPECT_THAT(log.logLines("sendTo"),
                ElementsAre("[ERROR] KLV::sendTo() message to KRPBusServer dropped: no connection "
                            "to the bus server"));
    EXPECT_THAT(log.logLines("ThreadKrpbusData"),
                ElementsAre("[DEBUG] KLV::ThreadKrpbusData() kslEnabled: 0",
                            "[ERROR] KLV::ThreadKrpbusData() Not connected to server!"));
    ASSERT_NE(session.setup.krpbus, nullptr);
    EXPECT_THAT(session.sent(), IsEmpty());

    ASSERT_EQ(thread.start_thread(), 0);
    ASSERT_TRUE(session.host.waitForFrames(1));
    EXPECT_EQ(thread.isActive(), 1U) << "the flag stays until the session stops the thread";
    thread.stop_thread();
    EXPECT_THAT(session.sent(), ElementsAre(kNotConnected));
    EXPECT_THAT(log.logLines("krpbus_run"), IsEmpty());
}

TEST(BusThreadWithoutServer, ConnectsWhenTheServerComesDuringTheRetries) {
    NatsServer nats;
    useServer(nats);
    nats.stop();
    WorkerSession session;
    const LogCapture log;
    // The server lives as long as the thread that started it.
    std::binary_semaphore done{0};
    std::thread later([&] {
        std::this_thread::sleep_for(milliseconds(500));
        nats.start();
        done.acquire();
    });
    const RecordingThread thread(&session.setup);
    const bool connected = thread.isConnected();
    done.release();
    later.join();
    EXPECT_TRUE(connected);
    EXPECT_THAT(log.logLines("ThreadKrpbusData"),
                ElementsAre("[DEBUG] KLV::ThreadKrpbusData() kslEnabled: 0"));
}

TEST(BusThreadDeathTest, EndsTheProcessWhenThereCanBeNoClientWhileTheKeepAliveThreadRuns) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            LogUtil::redirectOutputToError();
            auto* session = new WorkerSession;
            ping_module_setup(nullptr);
            auto* ping = new ThreadData(&session->setup, 10000000, "ping_run", ping_run);
            ping_module_own(ping);
            ping->start_thread();
            refuseClient = true;
            const RecordingThread thread(&session->setup);
        },
        testing::ExitedWithCode(1),
        "\\[DEBUG\\] KLV::setupKrpClient\\(\\) \\[ERROR\\] cannot create KRPBusClient instance\n.*"
        "\\[DEBUG\\] KLV::setupKrpClient\\(\\) krpbus module setup failed\n");
}
