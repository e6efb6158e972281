#include "threads/keep_alive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"
#include "tests/threads/apr_faults.h"
#include "threads/thread_data.h"
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

const char* const kPong = R"({"response":"ping","status":"OK"})";

class KeepAlive : public testing::Test {
  protected:
    // As a session does it: the thread object, then its start.
    ThreadData* start(unsigned int timeout) {
        ThreadData* thread = make(timeout);
        EXPECT_EQ(thread->start_thread(), 0);
        return thread;
    }

    ThreadData* make(unsigned int timeout) {
        ping_module_setup(nullptr);
        auto* thread = new ThreadData(&session_.setup, timeout, "ping_run", ping_run);
        ping_module_own(thread);
        return thread;
    }

    WorkerSession session_;
    LogCapture log_;
};

}  // namespace

TEST_F(KeepAlive, LogsItsSetup) {
    EXPECT_EQ(ping_module_setup(nullptr), 0);
    EXPECT_THAT(log_.logLines(), ElementsAre("[DEBUG] KLV::ping_module_setup() setup ping module"));
}

TEST_F(KeepAlive, AnswersNoPingBeforeItsThreadExists) {
    ping_module_setup(nullptr);
    sendPing();
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(KeepAlive, AnswersAPingAsSoonAsItsThreadExists) {
    make(1000000);
    sendPing();
    EXPECT_THAT(session_.sent(), ElementsAre(kPong));
    ping_module_destroy();
}

TEST_F(KeepAlive, AnswersEveryPing) {
    start(1000000);
    sendPing();
    sendPing();
    EXPECT_THAT(session_.sent(), ElementsAre(kPong, kPong));
    ping_module_destroy();
    sendPing();
    EXPECT_EQ(session_.sent().size(), 2U) << "there is no thread any more";
}

TEST_F(KeepAlive, ClosesTheConnectionWhenNoPingComes) {
    const auto begin = Clock::now();
    const ThreadData* thread = start(50);
    ASSERT_TRUE(session_.host.waitForFrames(1));
    EXPECT_GE(Clock::now() - begin, milliseconds(50));
    EXPECT_THAT(session_.sent(), ElementsAre("close 1001"));
    EXPECT_EQ(thread->isActive(), 0U);
    ASSERT_TRUE(log_.waitForLine("[DEBUG] KLV::ping_run() ping  thread stopped"));
    EXPECT_THAT(
        log_.logLines("ping_run"),
        ElementsAre(
            "[DEBUG] KLV::ping_run() starting ping thread",
            MatchesRegex("\\[INFO\\] KLV::ping_run\\(\\) [0-9]{4}-[0-9]{2}-[0-9]{2} "
                         "[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}: no ping received, so stop "
                         "websocket"),
            "[DEBUG] KLV::ping_run() pingRunData->setActive(0)",
            "[DEBUG] KLV::ping_run() stop webapp: send close frame -> krwebsocket_on_disconnect",
            "[DEBUG] KLV::ping_run() ping  thread stopped"));
    ping_module_destroy();
    EXPECT_EQ(aprFaults.joins, 1) << "a thread that ended by itself is joined all the same";
    EXPECT_THAT(session_.sent(), ElementsAre("close 1001"));
}

TEST_F(KeepAlive, ClosesTheConnectionAtOnceWhenTheTimeoutIsZero) {
    start(0);
    ASSERT_TRUE(log_.waitForLine("[DEBUG] KLV::ping_run() ping  thread stopped"));
    EXPECT_THAT(session_.sent(), ElementsAre("close 1001"));
    EXPECT_THAT(log_.logLines("ping_run"),
                ElementsAre("[DEBUG] KLV::ping_run() starting ping thread",
                            "[ERROR] KLV::ping_run() ping timeout not valid 0",
                            HasSubstr(": no ping received, so stop websocket"),
                            "[DEBUG] KLV::ping_run() pingRunData->setActive(0)",
                            "[DEBUG] KLV::ping_run() stop webapp: send close frame -> "
                            "krwebsocket_on_disconnect",
                            "[DEBUG] KLV::ping_run() ping  thread stopped"));
    ping_module_destroy();
}

TEST_F(KeepAlive, CountsFromZeroAgainAfterAPing) {
    start(3000);
    std::this_thread::sleep_for(milliseconds(300));
    const auto pinged = Clock::now();
    sendPing();
    ASSERT_TRUE(session_.host.waitForFrames(2));
    EXPECT_GE(Clock::now() - pinged, milliseconds(3000));
    EXPECT_THAT(session_.sent(), ElementsAre(kPong, "close 1001"));
    ping_module_destroy();
}

TEST_F(KeepAlive, ReportsNoTimeoutWhenItIsStopped) {
    start(1000000);
    ASSERT_TRUE(log_.waitForLine("[DEBUG] KLV::ping_run() starting ping thread"));
    log_.clear();
    EXPECT_EQ(ping_module_destroy(), 0);
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[DEBUG] KLV::ping_module_destroy() stop ping thread",
                            "[DEBUG] KLV::ping_module_destroy() stop ping ping_run",
                            "[DEBUG] KLV::stop_thread() stop thread: ping_run",
                            HasSubstr("KLV::stop_thread() runningThread: "),
                            "[DEBUG] KLV::ping_run() ping  thread stopped",
                            "[DEBUG] KLV::stop_thread() stopped thread ping_run Success",
                            HasSubstr("KLV::stop_thread() TIME: "),
                            "[DEBUG] KLV::stop_thread() stop thread: ping_run",
                            HasSubstr("KLV::stop_thread() runningThread: "),
                            "[DEBUG] KLV::~ThreadData() ThreadData ping_run deleted.",
                            "[DEBUG] KLV::ping_module_destroy() ping module destroyed"));
}

TEST_F(KeepAlive, StopsTheTenThousandSecondThreadAtOnce) {
    start(10000000);
    ASSERT_TRUE(log_.waitForLine("[DEBUG] KLV::ping_run() starting ping thread"));
    const auto begin = Clock::now();
    ping_module_destroy();
    EXPECT_LT(Clock::now() - begin, milliseconds(10000));
}

TEST_F(KeepAlive, DestroysWithoutAThread) {
    EXPECT_EQ(ping_module_destroy(), 0);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[DEBUG] KLV::ping_module_destroy() stop ping thread"));
}

TEST_F(KeepAlive, DestroysAThreadThatWasNeverStarted) {
    make(1000000);
    EXPECT_EQ(ping_module_destroy(), 0);
    EXPECT_EQ(aprFaults.joins, 0);
    EXPECT_THAT(log_.logLines(),
                Contains("[DEBUG] KLV::ping_module_destroy() ping module destroyed"));
    EXPECT_EQ(ping_module_destroy(), 0) << "a second time there is nothing to stop";
}

TEST_F(KeepAlive, DestroysAThreadThatCouldNotBeStarted) {
    aprFaults.failThreadCreate = true;
    EXPECT_EQ(make(1000000)->start_thread(), -1);
    EXPECT_EQ(ping_module_destroy(), 0);
    EXPECT_THAT(log_.logLines(),
                Contains("[DEBUG] KLV::ping_module_destroy() ping module destroyed"));
}

TEST_F(KeepAlive, LogsAThreadWithoutData) {
    EXPECT_EQ(ping_run(nullptr, nullptr), nullptr);
    EXPECT_THAT(log_.logLines(), ElementsAre("[DEBUG] KLV::ping_run() starting ping thread",
                                             "[ERROR] KLV::ping_run() no thread data",
                                             "[DEBUG] KLV::ping_run() ping  thread stopped"));
    EXPECT_EQ(log_.standardOutput(), "") << "from its first line on it writes to standard error";
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(KeepAlive, TakesTheProcessorFromNobodyAndMayWakeALittleLate) {
    static int policy = -1;
    static int slack = -1;
    const auto function = [](apr_thread_t* thread, void* data) -> void* {
        static_cast<ThreadData*>(data)->setActive(0);  // there is nothing to wait for
        ping_run(thread, data);
        policy = sched_getscheduler(0);
        slack = prctl(PR_GET_TIMERSLACK);
        return nullptr;
    };
    auto* thread = new ThreadData(&session_.setup, 5, "ping_run", function);
    ping_module_own(thread);
    thread->start_thread();
    ping_module_destroy();
    EXPECT_EQ(policy, SCHED_BATCH);
    EXPECT_EQ(slack, 250'000) << "a quarter of a sleep";
}

TEST_F(KeepAlive, NamesItsThread) {
    static std::string name;
    const auto function = [](apr_thread_t* thread, void* data) -> void* {
        static_cast<ThreadData*>(data)->setActive(0);  // there is nothing to wait for
        ping_run(thread, data);
        name = getThreadName();
        return nullptr;
    };
    auto* thread = new ThreadData(&session_.setup, 5, "ping_run", function);
    ping_module_own(thread);
    thread->start_thread();
    ping_module_destroy();
    EXPECT_EQ(name, "ping_run_17");
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST(KeepAliveDeathTest, LetsTheProcessExitWhileItRuns) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            auto* session = new WorkerSession;
            auto* thread = new ThreadData(&session->setup, 10000000, "ping_run", ping_run);
            ping_module_own(thread);
            thread->start_thread();
            std::exit(1);
        },
        testing::ExitedWithCode(1), "");
}
