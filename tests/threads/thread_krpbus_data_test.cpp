#include "threads/thread_krpbus_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <new>
#include <semaphore>
#include <stdexcept>
#include <thread>

#include "krpbus/krpbus_client.h"
#include "krpbus/krselect.h"
#include "krpbus/log_util.h"
#include "krpbus/signal_message.h"
#include "krpbus/system_message.h"
#include "krpbus/system_set_state_message.h"
#include "tests/support/bus_loggers.h"
#include "tests/support/log_capture.h"
#include "tests/support/nats_server.h"
#include "tests/support/worker_session.h"
#include "threads/keep_alive.h"
#include "threads/thread_name.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const std::string kLocal = "02:00:00:00:00:0A";
const char* const kNotConnected =
    R"({"response":"krpbus","status":"ERROR","error_code":"krpbus_error","error_msg":"not connected"})";
const char* const kServerGone =
    R"({"response":"krpbus","status":"ERROR","error_code":"krpbus_error","error_msg":"oops, krpbus server is gone"})";

// What the next wait of the bus loop shall answer instead of waiting.
struct SelectFault {
    bool armed = false;
    int result = 0;
    int error = 0;
} selectFault;

std::atomic<bool> refuseClient{false};

// What the bus loop has waited with, at most.
std::mutex waitsMutex;
std::vector<timespec> waits;

// Where the last client was told to look for the bus server.
std::string clientHost = "(none)";
unsigned clientPort = 0;

// A bus thread that keeps what it is given.
class RecordingThread : public ThreadKrpbusData {
  public:
    explicit RecordingThread(LvSetup* setup, apr_thread_start_t function = krpbus_run)
        : ThreadKrpbusData(setup, 0, "krpbus", function) {}

    void handleMessages(const MessageBase* message) override {
        const auto* system = dynamic_cast<const SystemMessage*>(message);
        const std::string text = system != nullptr ? system->getText() : message->toString();
        {
            const std::lock_guard lock(mutex_);
            texts_.push_back(text);
            changed_.notify_all();
        }
        if (text == "throw") {
            throw std::runtime_error("cannot handle it");
        }
    }
    void handleReconnect() override { ++reconnects; }

    std::vector<std::string> texts() const {
        const std::lock_guard lock(mutex_);
        return texts_;
    }
    bool waitForTexts(std::size_t count) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20),
                                 [&] { return texts_.size() >= count; });
    }

    std::atomic<int> reconnects{0};

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> texts_;
};

std::unique_ptr<MessageBase> notice(const std::string& text) {
    return std::make_unique<SystemMessage>(SystemMessage::SM_STATE, text);
}

void useServer(const NatsServer& server) {
    setenv("KRPBUS_SERVER", server.address().c_str(), 1);
    setenv("KRPBUS_MAC", kLocal.c_str(), 1);
}

std::string writeNetworkFile(const std::string& enabled, const std::string& active) {
    const std::string path = testing::TempDir() + "network-" + std::to_string(getpid()) + ".xml";
    std::ofstream(path) << "<ksl><name>Fleet</name><enabled>" << enabled << "</enabled><active>"
                        << active << "</active></ksl>";
    return path;
}

class BusThread : public testing::Test {
  protected:
    BusThread() { useServer(nats_); }

    RecordingThread& make(apr_thread_start_t function = krpbus_run) {
        thread_ = std::make_unique<RecordingThread>(&session_.setup, function);
        return *thread_;
    }

    void pass(milliseconds timeout) {
        timespec wait{static_cast<time_t>(timeout.count() / 1000),
                      static_cast<long>(timeout.count() % 1000 * 1000000)};
        thread_->handleKRPBusServer(&wait);
    }

    NatsServer nats_;
    WorkerSession session_;
    LogCapture log_;
    std::unique_ptr<RecordingThread> thread_;
};

}  // namespace

// The bus loop's wait goes through here, so that a test can have it fail.
extern "C" int wrappedSelect(FdSet*, FdSet*, FdSet*, const timespec*, const sigset_t*) __asm__(
    "__wrap__Z8krselectP5FdSetS0_S0_PK8timespecPK10__sigset_t");
extern "C" int realSelect(FdSet*, FdSet*, FdSet*, const timespec*, const sigset_t*) __asm__(
    "__real__Z8krselectP5FdSetS0_S0_PK8timespecPK10__sigset_t");

int wrappedSelect(FdSet* readSet, FdSet* writeSet, FdSet* errorSet, const timespec* timeout,
                  const sigset_t* mask) {
    {
        const std::lock_guard lock(waitsMutex);
        waits.push_back(*timeout);
    }
    EXPECT_EQ(readSet->descriptors().size(), 1U);
    EXPECT_EQ(writeSet, nullptr);
    EXPECT_EQ(errorSet, nullptr);
    EXPECT_EQ(mask, nullptr);
    if (!selectFault.armed) {
        return realSelect(readSet, writeSet, errorSet, timeout, mask);
    }
    selectFault.armed = false;
    if (selectFault.result != -1) {
        readSet->zero();
    }
    errno = selectFault.error;
    return selectFault.result;
}

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

TEST_F(BusThread, WaitsForEightTenthsOfASecondAtMostInEachPass) {
    RecordingThread& thread = make();
    ASSERT_EQ(thread.start_thread(), 0);
    const auto passes = [] {
        const std::lock_guard lock(waitsMutex);
        return waits.size();
    };
    while (passes() < 3) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    thread.stop_thread();
    for (const timespec& wait : waits) {
        EXPECT_EQ(wait.tv_sec, 0);
        EXPECT_EQ(wait.tv_nsec, 800000000);
    }
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

TEST_F(BusThread, HandsOnAllMessagesInTheirOrder) {
    BusLogger logger(kLocal, {}, nats_.port());
    RecordingThread& thread = make();
    ASSERT_EQ(thread.start_thread(), 0);
    ASSERT_TRUE(logger.waitForReceived("KRPBusServer from " + thread.getBusName()));
    for (int i = 0; i < 100; ++i) {
        logger.client().sendTo("HandheldServer", thread.getBusName(), notice(std::to_string(i)));
    }
    ASSERT_TRUE(thread.waitForTexts(100));
    const std::vector<std::string> texts = thread.texts();
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(texts[i], std::to_string(i));
    }
    thread.stop_thread();
}

TEST_F(BusThread, GoesOnAfterAMessageThatCannotBeHandled) {
    BusLogger logger(kLocal, {}, nats_.port());
    RecordingThread& thread = make();
    ASSERT_EQ(thread.start_thread(), 0);
    ASSERT_TRUE(logger.waitForReceived("KRPBusServer from " + thread.getBusName()));
    logger.client().sendTo("HandheldServer", thread.getBusName(), notice("throw"));
    logger.client().sendTo("HandheldServer", thread.getBusName(), notice("next"));
    ASSERT_TRUE(thread.waitForTexts(2));
    EXPECT_THAT(thread.texts(), ElementsAre("throw", "next"));
    EXPECT_THAT(log_.logLines("handleKRPBusServer"),
                ElementsAre("[ERROR] KLV::handleKRPBusServer() message dropped: cannot handle it"));
    thread.stop_thread();
}

TEST_F(BusThread, WaitsNoLongerThanItsTimeout) {
    make();
    const auto begin = Clock::now();
    pass(milliseconds(100));
    EXPECT_GE(Clock::now() - begin, milliseconds(100));
    EXPECT_THAT(thread_->texts(), IsEmpty());
    EXPECT_THAT(log_.logLines("handleKRPBusServer"), IsEmpty());
}

TEST_F(BusThread, SaysNothingAboutAWaitThatASignalInterrupts) {
    make();
    log_.clear();
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    ualarm(100000, 0);
    const auto begin = Clock::now();
    pass(milliseconds(30000));
    EXPECT_LT(Clock::now() - begin, milliseconds(20000));
    EXPECT_EQ(log_.standardError(), "");
    EXPECT_EQ(log_.standardOutput(), "");
}

TEST_F(BusThread, ReportsAWaitThatFails) {
    make();
    log_.clear();
    selectFault = {true, -1, EBADF};
    pass(milliseconds(10));
    EXPECT_EQ(log_.standardError(), "[ERROR] krselect() error: Bad file descriptor\n");
    EXPECT_EQ(log_.standardOutput(), "");
}

TEST_F(BusThread, ReportsAWaitThatNamesAnotherDescriptor) {
    make();
    log_.clear();
    selectFault = {true, 1, 0};
    pass(milliseconds(10));
    EXPECT_THAT(log_.logLines(), ElementsAre("[ERROR] KLV::handleKRPBusServer() oops, "
                                             "FD_ISSET(krpBusClient->getFd(), &fdset) failed"));
}

TEST_F(BusThread, StopsWithinItsWait) {
    RecordingThread& thread = make();
    ASSERT_EQ(thread.start_thread(), 0);
    log_.clear();
    const auto begin = Clock::now();
    thread.stop_thread();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
    EXPECT_THAT(
        log_.logLines("krpbus_run"),
        ElementsAre(MatchesRegex(
            "\\[DEBUG\\] KLV::krpbus_run\\(\\) krpbus_17 thread stopped \\[TID=[0-9]+\\]")));
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

TEST_F(BusThread, TellsTheBrowserAgainAndAgainThatTheServerIsGoneAndGoesOnWhenItIsBack) {
    RecordingThread& thread = make();
    ASSERT_EQ(thread.start_thread(), 0);
    const auto begin = Clock::now();
    nats_.stop();
    ASSERT_TRUE(session_.host.waitForFrames(2));
    EXPECT_GE(Clock::now() - begin, milliseconds(10000));
    EXPECT_THAT(session_.sent(), ElementsAre(kServerGone, kServerGone));
    EXPECT_THAT(log_.logLines("handleKRPBusServer"),
                ElementsAre("[ERROR] KLV::handleKRPBusServer() oops, krpbus server is gone",
                            "[ERROR] KLV::handleKRPBusServer() oops, krpbus server is gone"));
    EXPECT_EQ(thread.reconnects, 0);

    nats_.start();
    BusLogger logger(kLocal, {}, nats_.port());
    while (!thread.isConnected()) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    while (thread.texts().empty()) {
        logger.client().sendTo("HandheldServer", thread.getBusName(), notice("back"));
        std::this_thread::sleep_for(milliseconds(50));
    }
    EXPECT_EQ(thread.texts().front(), "back");
    EXPECT_EQ(thread.reconnects, 1);
    thread.stop_thread();
}

TEST_F(BusThread, StopsWhileTheServerIsGone) {
    RecordingThread& thread = make();
    ASSERT_EQ(thread.start_thread(), 0);
    {
        // A thread that finds no server when it starts ends at once: it has to have come further.
        BusLogger logger(kLocal, {}, nats_.port());
        while (thread.texts().empty()) {
            logger.client().sendTo("HandheldServer", thread.getBusName(), notice("running"));
            std::this_thread::sleep_for(milliseconds(50));
        }
    }
    nats_.stop();
    while (thread.isConnected()) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    const auto begin = Clock::now();
    thread.stop_thread();
    // Five seconds for the browser's next error and 0.8 for the wait, and the machine's own time.
    EXPECT_LT(Clock::now() - begin, milliseconds(5800 + 4000));
    EXPECT_THAT(log_.logLines("krpbus_run"), ElementsAre(HasSubstr("thread stopped [TID=")));
}

TEST_F(BusThread, NoticesAReconnectBetweenTwoPasses) {
    make();
    pass(milliseconds(1));
    EXPECT_EQ(thread_->reconnects, 0);
    nats_.stop();
    while (thread_->isConnected()) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    nats_.start();
    while (!thread_->isConnected()) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    pass(milliseconds(1));
    pass(milliseconds(1));
    EXPECT_EQ(thread_->reconnects, 1);
    EXPECT_THAT(session_.sent(), IsEmpty());
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
