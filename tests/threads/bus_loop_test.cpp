// The bus thread's loop: what it waits for, what it hands on, and a server that goes away.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <mutex>
#include <thread>

#include "base/krselect.h"
#include "krpbus/client/krpbus_client.h"
#include "tests/kit/bus_loggers.h"
#include "tests/threads/bus_thread.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char* const kServerGone =
    R"({"response":"krpbus","status":"ERROR","error_code":"krpbus_error","error_msg":"oops, krpbus server is gone"})";

// What the next wait of the bus loop shall answer instead of waiting.
struct SelectFault {
    bool armed = false;
    int result = 0;
    int error = 0;
} selectFault;

// What the bus loop has waited with, at most.
std::mutex waitsMutex;
std::vector<timespec> waits;

std::size_t passes() {
    const std::lock_guard lock(waitsMutex);
    return waits.size();
}

// A thread that finds no server when it starts ends at once: before the server may go, the thread
// has to have come as far as its loop.
void waitForPasses(std::size_t count) {
    while (passes() < count) {
        std::this_thread::sleep_for(milliseconds(10));
    }
}

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

TEST_F(BusThread, WaitsForEightTenthsOfASecondAtMostInEachPass) {
    RecordingThread& thread = make();
    ASSERT_EQ(thread.start_thread(), 0);
    waitForPasses(3);
    thread.stop_thread();
    for (const timespec& wait : waits) {
        EXPECT_EQ(wait.tv_sec, 0);
        EXPECT_EQ(wait.tv_nsec, 800000000);
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

TEST_F(BusThread, TellsTheBrowserAgainAndAgainThatTheServerIsGoneAndGoesOnWhenItIsBack) {
    RecordingThread& thread = make();
    ASSERT_EQ(thread.start_thread(), 0);
    waitForPasses(1);
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
    const std::size_t before = passes();
    ASSERT_EQ(thread.start_thread(), 0);
    waitForPasses(before + 1);
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
