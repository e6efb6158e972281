// Sessions that end while the bus thread has its hands full.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "krpbus/messages/krp_get_event_list.h"
#include "krpbus/messages/signal_message.h"
#include "network/ksl_info.h"
#include "plugin/lv_websocket.h"
#include "plugin/plugin_callbacks.h"
#include "setup/lv_setup.h"
#include "tests/kit/bus_loggers.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/rough_host.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const std::string kLocal = "02:00:00:00:00:01";
const std::string kOther = "02:00:00:00:00:02";
constexpr krpMsgID_t kEventList = 50;
constexpr krpMsgID_t kBusNames = 81;

// The end takes a second,
constexpr std::chrono::milliseconds kEnd = 1s;
// and so long for each busy answer of the pass that is under way,
constexpr std::chrono::milliseconds kPauseForEach = 100ms;
// on a machine that has nothing else to do; a busy one takes up to so many times as long. A thread
// that does not stop never does.
constexpr int kLoadFactor = 4;

// The session as a logger of another bus addresses it.
std::string forwarded(const std::string& session) {
    return KSLUtil::createKslRouterMsgAddress(0, kLocal, session);
}

class EndingSession : public testing::Test {
  protected:
    EndingSession() {
        // The record of the loggers goes with the first session of a process, on purpose: a second
        // one would wait for them for ever.
        if (kslInfo == nullptr) {
            throw std::logic_error("each of these tests needs a process of its own");
        }
        setenv("KRPBUS_SERVER", nats_.address().c_str(), 1);
        setenv("KRPBUS_MAC", kLocal.c_str(), 1);
        setenv("KSL_CONFIG_FILE", "/nonexistent/network.xml", 1);
    }

    // A logger that is busy with these requests for ever.
    std::unique_ptr<BusLogger> busyLogger(const std::string& mac, LoggerFacts facts) {
        auto logger = std::make_unique<BusLogger>(mac, std::move(facts), nats_.port());
        logger->client().addParticipant("EventHandler");
        logger->addAnswer(std::make_unique<KRPResponseGetEventList>());
        logger->addAnswer(std::make_unique<KRPResponseGetBusNames>());
        for (const krpMsgID_t request : {kEventList, kBusNames}) {
            logger->behave(request, {.status = KRPMessageResponse::KRPSTATUS_ERROR,
                                     .error = errorCode_t::Busy});
        }
        logger->settle();
        return logger;
    }

    void connect() {
        host_.connect();
        // Other commands are for a session that knows its loggers.
        const auto deadline = Clock::now() + 30s;
        while (!host_.waitForText("\"get_logger_info\"", 100ms) ||
               !host_.waitForText("\"OK\"", 100ms)) {
            if (Clock::now() > deadline) {
                throw std::runtime_error("the session does not get to know its loggers");
            }
            host_.deliverText(R"({"command":"get_logger_info"})");
        }
    }

    // Asks until it is heard: what is asked while the session still gets to know its loggers comes
    // to nothing.
    bool ask(const std::string& command, const std::function<bool()>& isHeard) {
        for (int attempt = 0; attempt < 5; ++attempt) {
            host_.deliverText(R"({"command":")" + command + R"("})");
            if (isHeard()) {
                return true;
            }
        }
        return false;
    }
    bool askForTriggers() {
        return ask("get_trigger",
                   [this] { return host_.waitForText("not all triggers received", 6s); });
    }

    bool askTheBusy(const std::string& command, const BusLogger& logger, krpMsgID_t request) {
        return ask(command, [&] {
            const auto deadline = Clock::now() + 5s;
            while (logger.requests(request) < 5 && Clock::now() < deadline) {
                std::this_thread::sleep_for(10ms);
            }
            return logger.requests(request) >= 5;
        });
    }

    // Lets so many more busy answers come from the logger. From then on that many more are always
    // under way, since each is answered with a new request: the queue never runs empty.
    static void addBusyAnswers(BusLogger& logger, int count, const std::string& session) {
        KRPResponseGetEventList answer;
        answer.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Busy, "");
        for (int i = 0; i < count; ++i) {
            logger.client().sendTo("EventHandler", session, answer.clone());
        }
    }

    // `busyAnswers`: how many are under way at most.
    void expectEndInTime(int busyAnswers, const std::function<void()>& endTheLoggers) {
        const auto longest = kLoadFactor * (kEnd + busyAnswers * kPauseForEach);
        const auto end = std::async(std::launch::async, [this] { host_.disconnect(); });
        if (end.wait_for(longest) != std::future_status::ready) {
            ADD_FAILURE() << "the session goes on as long as the loggers are busy";
            endTheLoggers();
        }
    }

    NatsServer nats_;
    LogCapture capture_;
    RoughHost host_{krwebsocket_init()};
};

}  // namespace

TEST_F(EndingSession, EndsThoughTwoLoggersAreBusyForEver) {
    auto other = busyLogger(kOther, {});
    auto local = busyLogger(kLocal, {.neighbours = {kOther}});
    connect();
    ASSERT_TRUE(askForTriggers());
    ASSERT_TRUE(local->waitForRequests(kEventList, 5));
    ASSERT_TRUE(other->waitForRequests(kEventList, 5));
    addBusyAnswers(*local, 4, stp->krpbus_name);
    addBusyAnswers(*other, 4, forwarded(stp->krpbus_name));
    expectEndInTime(10, [&] {
        other.reset();
        local.reset();
    });
}

// However slowly the machine lets each answer come, there is always a next one.
TEST_F(EndingSession, EndsThoughManyLoggersAreBusyForEver) {
    std::vector<std::string> macs;
    std::vector<std::unique_ptr<BusLogger>> others;
    for (char digit = '2'; digit <= '9'; ++digit) {
        macs.push_back(std::string("02:00:00:00:00:0") + digit);
        others.push_back(busyLogger(macs.back(), {}));
    }
    auto local = busyLogger(kLocal, {.neighbours = macs});
    connect();
    ASSERT_TRUE(askForTriggers());
    expectEndInTime(9, [&] {
        others.clear();
        local.reset();
    });
}

TEST_F(EndingSession, EndsThoughALoggerIsBusyForEverWithTwoKindsOfRequest) {
    auto local = busyLogger(kLocal, {});
    connect();
    ASSERT_TRUE(askTheBusy("get_trigger", *local, kEventList));
    ASSERT_TRUE(askTheBusy("get_bus_names", *local, kBusNames));
    addBusyAnswers(*local, 8, stp->krpbus_name);
    expectEndInTime(10, [&] { local.reset(); });
}

TEST_F(EndingSession, EndsThoughValuesNeverCease) {
    const auto local = busyLogger(kLocal, {});
    connect();
    const std::string session = stp->krpbus_name;
    std::atomic<bool> stop{false};
    std::thread flood([&] {
        SignalMessage value;
        value.instanceName = "a place on a screen";
        KRPBusOptions options;
        options.mac = kLocal;
        KRPBusClient sender("sender", "127.0.0.1", nats_.port(), options);
        while (!stop) {
            sender.sendTo("sender", session, value.clone());
        }
    });
    EXPECT_TRUE(host_.waitForText("signal_message"));
    expectEndInTime(0, [&] { stop = true; });
    stop = true;
    flood.join();
}
