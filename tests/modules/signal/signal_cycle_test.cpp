#include "tests/kit/slept_time.h"
#include "tests/modules/signal/signal_commands_fixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using SignalCycleTest = SignalCommandsFixture;

TEST_F(SignalCycleTest, AsksAllLoggersForTheirSignals) {
    EXPECT_EQ(run(R"({"command": "get_signal_names"})"), 1);

    EXPECT_EQ(signalInfo->configState, 1U);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtForwarder(), "all: request 137");
    EXPECT_TRUE(network.isQuiet());
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(SignalCycleTest, DoesNotWaitForTheLoggersSignals) {
    const SleptTime slept;
    getSignalNames(20);
    EXPECT_EQ(slept.microseconds(), 0U);
}

TEST_F(SignalCycleTest, WaitsOnlyWhereAnotherThreadHasMovedTheStateOn) {
    bool waited = false;
    for (int attempt = 0; attempt < 500 && !waited; ++attempt) {
        signalInfo->configState = KSL_MSG_STATE_EMPTY;
        std::thread loggers([] {
            while (signalInfo->configState != KSL_MSG_STATE_UPDATE) {
                std::this_thread::yield();
            }
            signalInfo->configState = KSL_MSG_STATE_COMPLETE;
        });
        const auto start = Clock::now();
        getSignalNames(2);
        waited = Clock::now() - start >= 200ms;
        loggers.join();
    }
    EXPECT_TRUE(waited);
}

TEST_F(SignalCycleTest, AsksOnceWhileACycleIsUnderWay) {
    getSignalNames(20);
    signalInfo->updateSignalConfiguration(speedConfig(), kLocalLogger);
    getSignalNames(20);

    EXPECT_TRUE(signalInfo->getSignalData(kSpeed).valid);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtForwarder(), "all: request 137");
    EXPECT_TRUE(network.isQuiet());
}

TEST_F(SignalCycleTest, BeginsAnotherCycleWhenTheCatalogueIsComplete) {
    completeCatalogue();
    getSignalNames(20);
    EXPECT_EQ(signalInfo->configState, 1U);
    EXPECT_TRUE(signalInfo->checkSignal(kSpeed));
    EXPECT_FALSE(signalInfo->getSignalData(kSpeed).valid);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
}

TEST_F(SignalCycleTest, AsksForTheNeighboursFirst) {
    kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
    getSignalNames(1);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 88");
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
}

TEST_F(SignalCycleTest, AsksOneLoggerAndChangesNoState) {
    getSignalNames(std::string(kOtherLogger));
    EXPECT_EQ(network.nextAtForwarder(), "02:00:00:00:00:02: request 137");
    getSignalNames(std::string(kLocalLogger));
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_TRUE(network.isQuiet());
    EXPECT_EQ(signalInfo->configState, 0U);
}

TEST_F(SignalCycleTest, AsksABusyLoggerAgainAfterATenthOfASecond) {
    KRPResponseGetLVSignalConfig busy;
    busy.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Busy);
    for (int i = 0; i < 3; ++i) {
        const auto start = Clock::now();
        EXPECT_EQ(handleSignalMessages(&busy, kOtherLogger), 1);
        EXPECT_GE(Clock::now() - start, 100ms);
        EXPECT_EQ(network.nextAtForwarder(), "02:00:00:00:00:02: request 137");
    }
    EXPECT_TRUE(network.isQuiet());
    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_EQ(signalInfo->configState, 0U);
}

TEST_F(SignalCycleTest, AsksForTheSignalsBeforeForwardingWhenNobodyHas) {
    run(R"({"command": "signal_forwarding_start"})");
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 77-LVStartSignals");
    EXPECT_EQ(signalInfo->configState, 1U);
}

TEST_F(SignalCycleTest, AsksForTheSignalsWhenTheFirstCommandIsAStart) {
    run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})");

    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 77-LVStartSignals");
    EXPECT_THAT(answers(), Contains(failed("generic_start_sig", "illegal_key")));
}

TEST_F(SignalCycleTest, AsksForTheSignalsOnAnyCommandWithAKey) {
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_THAT(answers(), ElementsAre(failed("generic_stop_sig", "illegal_config")));
}

TEST_F(SignalCycleTest, AsksAnewAfterTheBusWasAway) {
    getSignalNames(20);
    network.loseConnection();
    signalBusReconnected();
    EXPECT_EQ(signalInfo->configState, 0U);
    getSignalNames(20);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(signalInfo->configState, 1U);
}

TEST_F(SignalCycleTest, KeepsACompleteCatalogueWhenTheBusWasAway) {
    completeCatalogue();
    network.loseConnection();
    signalBusReconnected();
    EXPECT_EQ(signalInfo->configState, 2U);
}

TEST_F(SignalCycleTest, ShowsTheValuesOfStartedSignalsAfterACycleWasLostWithTheBus) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    getSignalNames(20);
    network.loseConnection();
    signalBusReconnected();
    clearAnswers();

    const SignalMessage value = speedValue("7");
    handleSignalMessages(&value, kLocalLogger);
    EXPECT_THAT(answers(), ElementsAre(testing::HasSubstr("\"value\": 7,")));
}

TEST_F(SignalCycleTest, GoesOnWhenTheLossOfTheBusIsNoticedOnlyAfterItsBeginning) {
    getSignalNames(20);  // lost with the connection
    network.loseConnection();
    getSignalNames(20);
    signalBusReconnected();
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(signalInfo->configState, 1U);

    const KRPResponseGetLVSignalConfig answer(std::vector{speedConfig()});
    handleSignalMessages(&answer, kLocalLogger);
    EXPECT_EQ(signalInfo->configState, 2U);
}

}  // namespace
