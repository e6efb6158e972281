// How long the keep-alive thread waits, counted as it counts: in sleeps. They take no time here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>

#include "plugin/plugin_callbacks.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/worker_session.h"
#include "threads/keep_alive.h"
#include "threads/thread_data.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const char* const kPong = R"({"response":"ping","status":"OK"})";

std::atomic<unsigned> sleeps{0};
std::atomic<unsigned> otherSleeps{0};  // that do not last a millisecond
std::function<void(unsigned)> duringSleep = [](unsigned) {};

// The thread function run to its end, with what happens during the sleep of a given number.
class KeepAliveSleeps : public testing::Test {
  protected:
    void run(
        unsigned timeout, std::function<void(unsigned)> happens = [](unsigned) {}) {
        thread_ = new ThreadData(&session_.setup, timeout, "ping_run", ping_run);
        ping_module_own(thread_);
        duringSleep = std::move(happens);
        thread_->setActive(1);
        ping_run(nullptr, thread_);
        EXPECT_EQ(otherSleeps, 0U);
        EXPECT_EQ(thread_->isActive(), 0U);
        ping_module_destroy();
    }

    WorkerSession session_;
    LogCapture log_;
    ThreadData* thread_ = nullptr;
};

}  // namespace

// In the place of the system's.
extern "C" int usleep(useconds_t microseconds) {
    if (microseconds != 1000) {
        ++otherSleeps;
    }
    duringSleep(++sleeps);
    return 0;
}

TEST_F(KeepAliveSleeps, CloseTheConnectionAfterTenMillionOfThem) {
    run(10000000);
    EXPECT_EQ(sleeps, 10000000U);
    EXPECT_THAT(session_.sent(), ElementsAre("close 1001"));
}

TEST_F(KeepAliveSleeps, StartFromZeroAgainAtEveryPing) {
    run(1000, [](unsigned number) {
        if (number == 999 || number == 1500) {
            sendPing();
        }
    });
    EXPECT_EQ(sleeps, 1500U + 1000U);
    EXPECT_THAT(session_.sent(), ElementsAre(kPong, kPong, "close 1001"));
}

TEST_F(KeepAliveSleeps, ArePutOffByAPingDuringTheLastOne) {
    run(1000, [](unsigned number) {
        if (number == 1000) {
            sendPing();
        }
    });
    EXPECT_EQ(sleeps, 2000U);
    EXPECT_THAT(session_.sent(), ElementsAre(kPong, "close 1001"));
}

TEST_F(KeepAliveSleeps, CloseNothingWhenTheThreadIsStoppedMeanwhile) {
    for (const unsigned stopAt : {1U, 500U, 1000U}) {
        sleeps = 0;
        run(1000, [this, stopAt](unsigned number) {
            if (number == stopAt) {
                thread_->setActive(0);
            }
        });
        EXPECT_EQ(sleeps, stopAt);
    }
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_THAT(log_.logLines("ping_run"),
                testing::Not(testing::Contains(testing::HasSubstr("no ping received"))));
}

TEST(SessionKeepAlive, HasTenMillionSleeps) {
    const NatsServer nats;
    setenv("KRPBUS_SERVER", nats.address().c_str(), 1);
    RecordingHost host;
    const LogCapture log;
    krwebsocket_on_connect(host.server());
    EXPECT_TRUE(host.waitForFrames(1, std::chrono::minutes(3)))
        << "calls that are watched are slow";
    krwebsocket_on_disconnect(nullptr, host.server());
    EXPECT_EQ(sleeps, 10000000U);
    ASSERT_FALSE(host.frames().empty());
    EXPECT_EQ(host.frames().front().type, WEBSOCKET_MESSAGE_CLOSE);
    EXPECT_EQ(host.frames().front().payload, "\x03\xE9");
}

TEST_F(KeepAliveSleeps, AreNoneWhenTheTimeoutIsZero) {
    run(0);
    EXPECT_EQ(sleeps, 0U);
    EXPECT_THAT(session_.sent(), ElementsAre("close 1001"));
}
