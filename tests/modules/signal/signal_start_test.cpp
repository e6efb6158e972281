#include "tests/modules/signal/signal_commands_fixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "tests/kit/after_first_send.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using SignalStartTest = SignalCommandsFixture;

TEST_F(SignalStartTest, SwitchesForwardingOnAtAllLoggers) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "signal_forwarding_start"})"), 1);

    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 77-LVStartSignals");
    EXPECT_EQ(network.nextAtForwarder(), "all: type 4: 77-LVStartSignals");
    EXPECT_TRUE(network.isQuiet());
    EXPECT_TRUE(signalInfo->forwardingActive);
    EXPECT_THAT(answers(), ElementsAre(kForwardingStarted));
}

TEST_F(SignalStartTest, SwitchesForwardingOffAndEmptiesTheCatalogueButKeepsItsState) {
    completeCatalogue();
    signalInfo->forwardingActive = true;
    EXPECT_EQ(run(R"({"command": "signal_forwarding_stop"})"), 1);

    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 78-LVStopSignals");
    EXPECT_EQ(network.nextAtForwarder(), "all: type 4: 78-LVStopSignals");
    EXPECT_TRUE(network.isQuiet());
    EXPECT_FALSE(signalInfo->forwardingActive);
    EXPECT_FALSE(signalInfo->checkSignal(kSpeed));
    EXPECT_EQ(signalInfo->configState, 2U);
    EXPECT_THAT(answers(), ElementsAre(kForwardingStopped));
    EXPECT_THAT(log.logLines("signal_forwarding_stop"),
                ElementsAre("[DEBUG] KLV::signal_forwarding_stop() stopping signal module",
                            "[DEBUG] KLV::signal_forwarding_stop() stop ksl signal module",
                            "[DEBUG] KLV::signal_forwarding_stop() stop local signal module"));
}

TEST_F(SignalStartTest, StartsASignalAfterAFreshStartWithTwoAnswersAndTheForwarding) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 100})"),
              1);

    EXPECT_THAT(answers(), ElementsAre(kForwardingStarted, kStarted, kNoValue));
    EXPECT_TRUE(isActive());
    EXPECT_EQ(signalInfo->getSignalData(kSpeed).interval, 0U);
    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 77-LVStartSignals");
    EXPECT_TRUE(signalInfo->forwardingActive);
}

TEST_F(SignalStartTest, StartsAnActiveSignalAgainWithoutAValue) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    clearAnswers();
    start_signal(kSpeed, -1);

    EXPECT_THAT(answers(), ElementsAre(kStarted));
    EXPECT_THAT(log.logLines("start_signal"),
                ElementsAre("[INFO] KLV::start_signal() Signal is already active:  key      | "
                            "[name=Speed] [MAC=02:00:00:00:00:01]"));
}

TEST_F(SignalStartTest, ReportsASignalThatGoesBetweenTheCheckAndTheStart) {
    signalInfo->configState = KSL_MSG_STATE_COMPLETE;
    start_signal(kSpeed, -1);
    EXPECT_THAT(answers(),
                ElementsAre(kForwardingStarted, failed("generic_start_sig", "illegal_key")));
    EXPECT_THAT(
        log.logLines("start_signal"),
        ElementsAre("[ERROR] KLV::start_signal() Invalid config. Signal data transfer could "
                    "not be started."));
}

TEST_F(SignalStartTest, SaysThatNotAllLoggersHaveAnsweredAndStartsAllTheSame) {
    signalInfo->beginCycle(1);
    signalInfo->updateSignalConfiguration(speedConfig(), kLocalLogger);
    const auto start = Clock::now();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})"), 1);

    EXPECT_GE(Clock::now() - start, 2s);
    EXPECT_THAT(answers(),
                ElementsAre(R"({"response": "generic_start","status": "ERROR","error_code": )"
                            R"("cannot_start","error_msg": "not all signal configs received"})",
                            kForwardingStarted, kStarted, kNoValue));
    EXPECT_THAT(log.logLines("start_signal"),
                ElementsAre("[ERROR] KLV::start_signal() not all signal configs received"));
    EXPECT_TRUE(isActive());
}

TEST_F(SignalStartTest, GoesOnAsSoonAsTheLoggersHaveAnswered) {
    signalInfo->beginCycle(1);
    std::thread loggers([] {
        std::this_thread::sleep_for(200ms);
        const KRPResponseGetLVSignalConfig answer(std::vector{speedConfig()});
        handleSignalMessages(&answer, kLocalLogger);
    });
    run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})");
    loggers.join();

    ASSERT_EQ(answers().size(), 4U);
    EXPECT_THAT(answers(), Contains(kStarted));
    EXPECT_THAT(answers(), Not(Contains(testing::HasSubstr("generic_start\""))));
}

TEST_F(SignalStartTest, FindsAShownNameAmongTheSignalsThatArriveWhileItWaits) {
    signalInfo->beginCycle(1);
    std::thread loggers([] {
        std::this_thread::sleep_for(200ms);
        const KRPResponseGetLVSignalConfig answer(std::vector{speedConfig("\xD6l")});
        handleSignalMessages(&answer, kLocalLogger);
    });
    run(R"({"command": "generic_start_sig", "signal_key": "\uFFFDl", "interval": 1})");
    loggers.join();
    EXPECT_TRUE(isActive({"\xD6l", kLocalLogger}));
}

TEST_F(SignalStartTest, StopsASignalOnce) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    clearAnswers();
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);

    EXPECT_THAT(answers(), ElementsAre(kStopped, failed("generic_stop_sig", "not_running")));
    EXPECT_THAT(log.logLines("stop_signal"),
                ElementsAre("[ERROR] KLV::stop_signal() signal is not configured or not active"));
    EXPECT_FALSE(isActive());
    EXPECT_TRUE(signalInfo->forwardingActive);
}

TEST_F(SignalStartTest, CannotStopASignalThatIsNotThere) {
    stop_signal(kSpeed);
    EXPECT_THAT(answers(), ElementsAre(failed("generic_stop_sig", "illegal_config")));
    EXPECT_THAT(log.logLines("stop_signal"),
                ElementsAre("[ERROR] KLV::stop_signal() signal is not configured or not active"));
}

TEST_F(SignalStartTest, RefusesAStartAfterForwardingWasStoppedUntilTheSignalsAreAskedFor) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    signal_forwarding_stop();
    clearAnswers();

    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})"), 2);
    EXPECT_THAT(answers(), ElementsAre(failed("generic_start_sig", "illegal_key")));

    run(R"({"command": "get_signal_names"})");
    const KRPResponseGetLVSignalConfig answer(std::vector{speedConfig()});
    handleSignalMessages(&answer, kLocalLogger);
    clearAnswers();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})"), 1);
    EXPECT_THAT(answers(), ElementsAre(kForwardingStarted, kStarted, kNoValue));
}

TEST_F(SignalStartTest, ForgetsWhatWasStartedWhenTheSignalsAreAskedForAgain) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    run(R"({"command": "get_signal_names"})");
    const KRPResponseGetLVSignalConfig answer(std::vector{speedConfig()});
    handleSignalMessages(&answer, kLocalLogger);
    clearAnswers();

    const SignalMessage value = speedValue();
    handleSignalMessages(&value, kLocalLogger);
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(SignalStartTest, SendsNoValueBeforeBothAnswersToItsStart) {
    completeCatalogue();
    signalInfo->forwardingActive = true;
    std::thread bus;
    bool valueCameBetween = false;
    {
        const AfterFirstSend afterStart(network.session.host, [&] {
            // A value arrives while the first answer is being sent.
            bus = std::thread([] {
                const SignalMessage value = speedValue();
                handleSignalMessages(&value, kLocalLogger);
            });
            valueCameBetween = network.session.host.waitForFrames(2, 200ms);
        });
        start_signal(kSpeed, -1);
        bus.join();
    }
    EXPECT_FALSE(valueCameBetween);
    ASSERT_EQ(answers().size(), 3U);
    EXPECT_EQ(answers()[0], kStarted);
    EXPECT_EQ(answers()[1], kNoValue);
}

TEST_F(SignalStartTest, SendsNoValueAfterTheAnswerToItsStop) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    clearAnswers();
    std::thread bus;
    {
        const AfterFirstSend afterStop(network.session.host, [&] {
            bus = std::thread([] {
                const SignalMessage value = speedValue();
                handleSignalMessages(&value, kLocalLogger);
            });
        });
        stop_signal(kSpeed);
        bus.join();
    }
    EXPECT_THAT(answers(), ElementsAre(kStopped));
}

TEST_F(SignalStartTest, StopsForwardingWhenTheModuleEnds) {
    completeCatalogue();
    signalInfo->forwardingActive = true;
    EXPECT_EQ(signal_module_destroy(), 0);
    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 78-LVStopSignals");
    EXPECT_FALSE(signalInfo->forwardingActive);
    EXPECT_FALSE(signalInfo->checkSignal(kSpeed));
}

}  // namespace
