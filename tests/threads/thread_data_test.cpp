#include "threads/thread_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <array>
#include <chrono>
#include <ctime>
#include <optional>
#include <semaphore>
#include <thread>

#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"
#include "tests/threads/apr_faults.h"
#include "threads/thread_name.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace {

// What the thread function of a test does and sees.
struct Seen {
    std::binary_semaphore started{0};
    std::atomic<ThreadData*> data{nullptr};
    std::atomic<std::uint32_t> running{99};
    std::atomic<bool> returned{false};
    std::atomic<bool> cameBack{false};
} seen;

void nap() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void* runUntilStopped(apr_thread_t*, void* data) {
    auto* thread = static_cast<ThreadData*>(data);
    seen.data = thread;
    seen.running = thread->isActive();
    seen.started.release();
    while (thread->isActive() != 0) {
        nap();
    }
    seen.returned = true;
    return nullptr;
}

void* takeItsTimeToStop(apr_thread_t* thread, void* data) {
    runUntilStopped(thread, data);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    return nullptr;
}

void* returnAtOnce(apr_thread_t*, void*) {
    seen.returned = true;
    return nullptr;
}

void* clearFlagAndReturn(apr_thread_t*, void* data) {
    static_cast<ThreadData*>(data)->setActive(0);
    seen.returned = true;
    return nullptr;
}

void* endWithGeneralError(apr_thread_t* thread, void*) {
    seen.returned = true;
    apr_thread_exit(thread, APR_EGENERAL);
    return nullptr;
}

void* stopItselfUnderItsPlainName(apr_thread_t*, void* data) {
    auto* thread = static_cast<ThreadData*>(data);
    prctl(PR_SET_NAME, thread->getName().c_str(), 0, 0, 0);
    thread->stop_thread();
    seen.cameBack = true;
    return nullptr;
}

void* stopItselfUnderItsNumberedName(apr_thread_t*, void* data) {
    auto* thread = static_cast<ThreadData*>(data);
    prctl(PR_SET_NAME, (thread->getName() + "_17").c_str(), 0, 0, 0);
    thread->stop_thread();  // cannot wait for itself
    seen.cameBack = true;
    seen.returned = true;
    return nullptr;
}

void waitUntilReturned() {
    while (!seen.returned) {
        nap();
    }
}

class ThreadDataTest : public testing::Test {
  protected:
    ThreadData& make(apr_thread_start_t function) {
        thread_.emplace(&session_.setup, 42, "worker", function);
        return *thread_;
    }

    WorkerSession session_;
    LogCapture log_;
    std::optional<ThreadData> thread_;
};

}  // namespace

TEST_F(ThreadDataTest, KeepsWhatItIsGivenAndDoesNotRunYet) {
    const ThreadData& thread = make(runUntilStopped);
    EXPECT_EQ(thread.getName(), "worker");
    EXPECT_EQ(thread.getId(), 42U);
    EXPECT_EQ(thread.getServer(), session_.host.server());
    EXPECT_EQ(thread.isActive(), 0U);
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(ThreadDataTest, HasNoServerOnceTheSessionHasTakenItsSocketBack) {
    const ThreadData& thread = make(runUntilStopped);
    session_.setup.socket = nullptr;
    EXPECT_EQ(thread.getServer(), nullptr);
}

TEST_F(ThreadDataTest, DrawsItsBusNameAndMakesItTheSessions) {
    const ThreadData& thread = make(runUntilStopped);
    EXPECT_THAT(thread.getBusName(), MatchesRegex("17_KLV[0-9]+"));
    EXPECT_EQ(session_.setup.krpbus_name, thread.getBusName());
}

TEST_F(ThreadDataTest, DrawsTheSameNameTwiceWithinASecond) {
    for (;;) {
        const time_t before = time(nullptr);
        const ThreadData first(&session_.setup, 0, "first", runUntilStopped);
        const ThreadData second(&session_.setup, 0, "second", runUntilStopped);
        if (time(nullptr) == before) {
            EXPECT_EQ(first.getBusName(), second.getBusName());
            return;
        }
    }
}

TEST_F(ThreadDataTest, DrawsAnotherNameOnAnotherConnection) {
    const std::string name = make(runUntilStopped).getBusName();
    WorkerSession other(18);
    LvSetup setup = other.setup;
    const ThreadData thread(&setup, 0, "worker", runUntilStopped);
    EXPECT_THAT(thread.getBusName(), StartsWith("18_KLV"));
    EXPECT_NE(thread.getBusName(), name);
}

TEST_F(ThreadDataTest, LivesInAPoolOfTheSessionWithALockOfItsOwn) {
    make(runUntilStopped);
    EXPECT_EQ(aprFaults.parent, session_.host.requestPool());
    ASSERT_NE(aprFaults.allocator, nullptr);
    EXPECT_NE(aprFaults.allocator, apr_pool_allocator_get(session_.host.requestPool()));
    EXPECT_EQ(apr_pool_allocator_get(aprFaults.createdPool), aprFaults.allocator);
    EXPECT_NE(apr_allocator_mutex_get(aprFaults.allocator), nullptr);
}

TEST_F(ThreadDataTest, RunsItsFunctionUntilItIsStopped) {
    ThreadData& thread = make(runUntilStopped);
    EXPECT_EQ(thread.start_thread(), 0);
    seen.started.acquire();
    EXPECT_EQ(seen.data, &thread);
    EXPECT_EQ(seen.running, 1U) << "the flag is set before the thread exists";
    EXPECT_EQ(thread.isActive(), 1U);
    EXPECT_EQ(aprFaults.detached, 0);

    thread.stop_thread();
    EXPECT_TRUE(seen.returned) << "the stop waits for the function's end";
    EXPECT_EQ(thread.isActive(), 0U);
    EXPECT_EQ(aprFaults.joins, 1);
}

TEST_F(ThreadDataTest, LogsHowLongTheStartTook) {
    make(returnAtOnce).start_thread();
    EXPECT_THAT(log_.logLines(),
                ElementsAre(MatchesRegex("\\[DEBUG\\] KLV::start_thread\\(\\) TIME: [0-9.e+-]+")));
}

TEST_F(ThreadDataTest, LogsItsStop) {
    ThreadData& thread = make(runUntilStopped);
    thread.start_thread();
    log_.clear();
    thread.stop_thread();
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[DEBUG] KLV::stop_thread() stop thread: worker",
                            "[DEBUG] KLV::stop_thread() runningThread: " + getThreadName(),
                            "[DEBUG] KLV::stop_thread() stopped thread worker Success",
                            MatchesRegex("\\[DEBUG\\] KLV::stop_thread\\(\\) TIME: [0-9.e+-]+")));
}

TEST_F(ThreadDataTest, LogsTheTimeOfItsStopInMilliseconds) {
    ThreadData& thread = make(takeItsTimeToStop);
    thread.start_thread();
    seen.started.acquire();
    log_.clear();
    const auto begin = std::chrono::steady_clock::now();
    thread.stop_thread();
    const std::chrono::duration<double, std::milli> taken =
        std::chrono::steady_clock::now() - begin;
    const std::string line = log_.logLines().back();
    const double logged = std::stod(line.substr(line.find("TIME: ") + 6));
    EXPECT_GE(logged, 200.0);
    EXPECT_LE(logged, taken.count() + 1);  // another clock, but not another unit
}

TEST_F(ThreadDataTest, ShowsWhatTheThreadEndedWith) {
    ThreadData& thread = make(endWithGeneralError);
    thread.start_thread();
    waitUntilReturned();
    log_.clear();
    thread.stop_thread();
    std::array<char, 256> text{};
    apr_strerror(APR_EGENERAL, text.data(), text.size());
    EXPECT_THAT(log_.logLines(), Contains("[DEBUG] KLV::stop_thread() stopped thread worker " +
                                          std::string(text.data())));
}

TEST_F(ThreadDataTest, StopsNothingThatWasNeverStarted) {
    ThreadData& thread = make(runUntilStopped);
    for (int i = 0; i < 2; ++i) {
        log_.clear();
        thread.stop_thread();
        EXPECT_THAT(log_.logLines(),
                    ElementsAre("[DEBUG] KLV::stop_thread() stop thread: worker",
                                "[DEBUG] KLV::stop_thread() runningThread: " + getThreadName()));
    }
    EXPECT_EQ(aprFaults.joins, 0);
}

TEST_F(ThreadDataTest, StopsOnce) {
    ThreadData& thread = make(runUntilStopped);
    thread.start_thread();
    thread.stop_thread();
    log_.clear();
    thread.stop_thread();
    EXPECT_EQ(log_.logLines().size(), 2U);
    EXPECT_EQ(aprFaults.joins, 1);
}

TEST_F(ThreadDataTest, JoinsAThreadThatReturnedWithItsFlagSet) {
    ThreadData& thread = make(returnAtOnce);
    thread.start_thread();
    waitUntilReturned();
    EXPECT_EQ(thread.isActive(), 1U);
    thread.stop_thread();
    EXPECT_EQ(aprFaults.joins, 1);
}

TEST_F(ThreadDataTest, JoinsAThreadThatClearedItsFlagItself) {
    ThreadData& thread = make(clearFlagAndReturn);
    thread.start_thread();
    waitUntilReturned();
    EXPECT_EQ(thread.isActive(), 0U);
    thread.stop_thread();
    thread.stop_thread();
    EXPECT_EQ(aprFaults.joins, 1);
}

TEST_F(ThreadDataTest, EndsAThreadThatStopsItselfUnderItsPlainName) {
    ThreadData& thread = make(stopItselfUnderItsPlainName);
    thread.start_thread();
    while (thread.isActive() != 0) {
        nap();
    }
    thread.stop_thread();
    EXPECT_FALSE(seen.cameBack);
    EXPECT_EQ(aprFaults.joins, 1);
}

TEST_F(ThreadDataTest, EndsNoThreadThatStopsItselfUnderALongerName) {
    ThreadData& thread = make(stopItselfUnderItsNumberedName);
    thread.start_thread();
    waitUntilReturned();
    thread.stop_thread();
    EXPECT_TRUE(seen.cameBack);
    EXPECT_EQ(aprFaults.joins, 2);
}

TEST_F(ThreadDataTest, CanBeStartedAgainAfterAStop) {
    ThreadData& thread = make(runUntilStopped);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(thread.start_thread(), 0);
        seen.started.acquire();
        thread.stop_thread();
    }
    EXPECT_EQ(aprFaults.joins, 3);
}

TEST_F(ThreadDataTest, StopsItsThreadWhenItIsDeleted) {
    make(runUntilStopped).start_thread();
    log_.clear();
    thread_.reset();
    EXPECT_TRUE(seen.returned);
    EXPECT_EQ(aprFaults.joins, 1);
    EXPECT_EQ(log_.logLines().front(), "[DEBUG] KLV::stop_thread() stop thread: worker");
    EXPECT_EQ(log_.logLines().back(), "[DEBUG] KLV::~ThreadData() ThreadData worker deleted.");
}

TEST_F(ThreadDataTest, ReportsAPoolThatCannotBeCreatedAndRefusesToStart) {
    aprFaults.failPoolCreate = true;
    ThreadData& thread = make(runUntilStopped);
    EXPECT_THAT(log_.logLines(),
                Contains("[ERROR] KLV::ThreadData() thread data could not be created"));
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(R"({"response":"worker","status":"ERROR","error_code":"cannot_start"})"));
    log_.clear();
    EXPECT_EQ(thread.start_thread(), -1);
    EXPECT_THAT(log_.logLines(), ElementsAre("[ERROR] KLV::start_thread() no threadpool "));
    EXPECT_EQ(aprFaults.threadsCreated, 0);
    EXPECT_EQ(thread.isActive(), 0U);
    EXPECT_EQ(thread.getName(), "worker") << "the object stays usable";
}

TEST_F(ThreadDataTest, LogsAPoolThatIsMissingAfterItsCreation) {
    aprFaults.leavePoolNull = true;
    ThreadData& thread = make(runUntilStopped);
    EXPECT_THAT(log_.logLines(), ElementsAre("[ERROR] KLV::ThreadData() no threadpool"));
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_EQ(thread.start_thread(), -1);
}

TEST_F(ThreadDataTest, GivesUpItsPoolWhenTheThreadCannotBeCreated) {
    aprFaults.failThreadCreate = true;
    ThreadData& thread = make(runUntilStopped);
    EXPECT_EQ(thread.start_thread(), -1);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[ERROR] KLV::start_thread() cannot start thread for command: worker"));
    EXPECT_EQ(thread.isActive(), 0U);
    EXPECT_EQ(aprFaults.destroyedPool, aprFaults.createdPool);

    aprFaults.failThreadCreate = false;
    log_.clear();
    EXPECT_EQ(thread.start_thread(), -1);
    EXPECT_THAT(log_.logLines(), ElementsAre("[ERROR] KLV::start_thread() no threadpool "));
    thread.stop_thread();
    EXPECT_EQ(aprFaults.joins, 0);
}

TEST_F(ThreadDataTest, KeepsItsPoolWhenTheAttributesFail) {
    ThreadData& thread = make(runUntilStopped);
    for (bool* fault : {&aprFaults.failAttrCreate, &aprFaults.failDetachSet}) {
        *fault = true;
        log_.clear();
        EXPECT_EQ(thread.start_thread(), -1);
        EXPECT_THAT(
            log_.logLines(),
            ElementsAre("[ERROR] KLV::start_thread() cannot start thread for command: worker"));
        EXPECT_EQ(thread.isActive(), 0U);
        *fault = false;
    }
    EXPECT_EQ(aprFaults.destroyedPool, nullptr);
    EXPECT_EQ(thread.start_thread(), 0);
}

TEST_F(ThreadDataTest, SurvivesAnExceptionOnTheWayToTheThread) {
    aprFaults.throwInThreadCreate = true;
    ThreadData& thread = make(runUntilStopped);
    EXPECT_EQ(thread.start_thread(), -1);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[DEBUG] KLV::start_thread() thread could not be startedno room"));
    EXPECT_EQ(thread.isActive(), 0U);
    thread.stop_thread();
    EXPECT_EQ(aprFaults.joins, 0);
}

TEST(SetThreadName, CarriesTheConnectionsNumber) {
    WorkerSession session(17);
    setThreadName("live_view", session.host.server());
    EXPECT_EQ(getThreadName(), "live_view_17");
}

TEST(SetThreadName, IsCutToFifteenCharacters) {
    WorkerSession session(1234567);
    setThreadName("live_view", session.host.server());
    EXPECT_EQ(getThreadName(), "live_view_12345");
}

TEST(SetThreadName, ManagesWithoutAConnection) {
    setThreadName("ping_run", nullptr);
    EXPECT_EQ(getThreadName(), "ping_run_0");
    WebSocketServer server{};
    server.request = [](const WebSocketServer*) -> request_rec* { return nullptr; };
    setThreadName("krpbus", &server);
    EXPECT_EQ(getThreadName(), "krpbus_0");
}
