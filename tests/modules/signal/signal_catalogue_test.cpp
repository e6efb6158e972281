#include "modules/signal/signal_catalogue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/modules/signal/signal_samples.h"

namespace {

const SignalKey kSpeed("Speed", kLocalLogger);

class SignalInfoTest : public testing::Test {
  protected:
    void start(const SignalKey& key) {
        info.withSignal(key, [](SignalData* signal) { signal->active = true; });
    }
    std::vector<SignalKey> keys() const {
        std::vector<SignalKey> result;
        info.forEachSignal([&](const SignalKey& key, const SignalData&) { result.push_back(key); });
        return result;
    }

    SignalInfo info;
};

TEST_F(SignalInfoTest, IsEmptyAtFirst) {
    EXPECT_EQ(info.configState, 0U);
    EXPECT_FALSE(info.forwardingActive);
    EXPECT_TRUE(keys().empty());
    EXPECT_TRUE(info.getLoggers().empty());
}

TEST_F(SignalInfoTest, ExistsOnceForThePlugIn) {
    ASSERT_NE(signalInfo, nullptr);
    EXPECT_EQ(signalInfo->configState, 0U);
}

TEST_F(SignalInfoTest, FillsANewEntryFromItsConfiguration) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);

    const SignalData signal = info.getSignalData(kSpeed);
    EXPECT_EQ(signal.timestamp, 0U);
    EXPECT_EQ(signal.webappName, "Speed");
    EXPECT_EQ(signal.instanceName, "CAN1.Speed");
    EXPECT_EQ(signal.MAC, kLocalLogger);
    EXPECT_EQ(signal.unit, "km/h");
    EXPECT_EQ(signal.value, "NaN");
    EXPECT_EQ(signal.raw, 0U);
    EXPECT_EQ(signal.phys, 0.0);
    EXPECT_EQ(signal.descr, "");
    EXPECT_EQ(signal.valueDescriptionTable, speedConfig().valueDescriptionTable);
    EXPECT_EQ(signal.userName, "my Speed");
    EXPECT_EQ(signal.busId, BUSID_CAN);
    EXPECT_EQ(signal.channel, 3);
    EXPECT_EQ(signal.kslOffset, 0);
    EXPECT_EQ(signal.valueType, SIGNALVALUE_DOUBLE);
    EXPECT_EQ(signal.scale, 0.5);
    EXPECT_EQ(signal.offset, -1.0);
    EXPECT_FALSE(signal.active);
    EXPECT_TRUE(signal.valid);
    EXPECT_EQ(signal.interval, 0U);
}

TEST_F(SignalInfoTest, KnowsASignalByItsExactKeyOnly) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);

    EXPECT_TRUE(info.checkSignal(kSpeed));
    EXPECT_FALSE(info.checkSignal({"speed", kLocalLogger}));
    EXPECT_FALSE(info.checkSignal({"Speed", kOtherLogger}));
    EXPECT_FALSE(info.checkSignal({"Speed", ""}));
    EXPECT_FALSE(info.checkSignal({"", kLocalLogger}));
}

TEST_F(SignalInfoTest, FindsTheFirstSignalThatIsShownLikeAKey) {
    for (const char* name : {"Oil \xFF", "Oil \xFE", "Oil", "Oil \xC3\x96"}) {
        info.updateSignalConfiguration(speedConfig(name), kLocalLogger);
    }
    info.updateSignalConfiguration(speedConfig("Oil \xFD"), kOtherLogger);

    EXPECT_EQ(info.findShown({"Oil \xEF\xBF\xBD", kLocalLogger}),
              SignalKey("Oil \xFE", kLocalLogger));
    EXPECT_EQ(info.findShown({"Oil \xEF\xBF\xBD", kOtherLogger}),
              SignalKey("Oil \xFD", kOtherLogger));
    for (const SignalKey& key : {SignalKey("Oil", kLocalLogger), SignalKey("Unknown", kLocalLogger),
                                 SignalKey("Oil \xEF\xBF\xBD", kThirdLogger),
                                 SignalKey("Oil\xEF\xBF\xBD", kLocalLogger)}) {
        EXPECT_EQ(info.findShown(key), key);
    }
}

TEST_F(SignalInfoTest, PrefersASignalWhoseNameHoldsTheReplacementCharacter) {
    const SignalKey exact("Oil \xEF\xBF\xBD", kLocalLogger);
    info.updateSignalConfiguration(speedConfig("Oil \xA0"), kLocalLogger);
    EXPECT_EQ(info.findShown(exact), SignalKey("Oil \xA0", kLocalLogger));

    info.updateSignalConfiguration(speedConfig(exact.first), kLocalLogger);
    EXPECT_EQ(info.findShown(exact), exact);
}

TEST_F(SignalInfoTest, GivesAnEmptyRecordForAnUnknownKey) {
    const SignalData signal = info.getSignalData(kSpeed);

    EXPECT_EQ(signal.webappName, "");
    EXPECT_EQ(signal.value, "");
    EXPECT_FALSE(signal.active);
    EXPECT_FALSE(signal.valid);
    EXPECT_TRUE(keys().empty());
}

TEST_F(SignalInfoTest, OrdersSignalsByNameThenLogger) {
    for (const auto& [name, logger] :
         {SignalKey("B", "1"), SignalKey("A", "2"), SignalKey("AB", "1"), SignalKey("A", "1"),
          SignalKey("a", "1"), SignalKey("\xC3\xA4", "1")}) {
        info.updateSignalConfiguration(speedConfig(name), logger);
    }
    EXPECT_EQ(keys(),
              (std::vector<SignalKey>{
                  {"A", "1"}, {"A", "2"}, {"AB", "1"}, {"B", "1"}, {"a", "1"}, {"\xC3\xA4", "1"}}));
    EXPECT_EQ(info.getLoggers(), (std::set<std::string>{"1", "2"}));
}

TEST_F(SignalInfoTest, CountsTheLocalLoggersChannelsFromOneAndWraps) {
    auto config = speedConfig();
    config.channel = 255;
    info.updateSignalConfiguration(config, kLocalLogger);
    EXPECT_EQ(info.getSignalData(kSpeed).channel, 0);
    EXPECT_EQ(info.getSignalData(kSpeed).kslOffset, 0);
}

TEST_F(SignalInfoTest, ShiftsANetworkMembersChannelsByItsOffsetAloneAndWraps) {
    auto config = speedConfig();
    config.kslOffset = 3;
    info.updateSignalConfiguration(config, kLocalLogger);
    EXPECT_EQ(info.getSignalData(kSpeed).channel, 5);
    EXPECT_EQ(info.getSignalData(kSpeed).kslOffset, 3);

    config.channel = 254;
    info.updateSignalConfiguration(config, kLocalLogger);
    EXPECT_EQ(info.getSignalData(kSpeed).channel, 1);
}

TEST_F(SignalInfoTest, KeepsValueAndStartWhenAKnownSignalIsConfiguredAgain) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    info.withSignal(kSpeed, [](SignalData* signal) {
        signal->active = true;
        signal->interval = 50;
    });
    const SignalMessage value = speedValue();
    info.updateSignalValue(&value, kLocalLogger);
    info.setSignalDataInvalid();

    auto config = speedConfig();
    config.unit = "mph";
    config.userName = "renamed";
    config.busId = BUSID_LIN;
    config.valueType = SIGNALVALUE_STRING;
    config.scale = 2.0;
    config.offset = 3.0;
    config.valueDescriptionTable = {{7, "seven"}};
    info.updateSignalConfiguration(config, kLocalLogger);

    const SignalData signal = info.getSignalData(kSpeed);
    EXPECT_EQ(signal.timestamp, value.timestamp);
    EXPECT_EQ(signal.value, "12.5");
    EXPECT_EQ(signal.raw, 25U);
    EXPECT_EQ(signal.phys, 12.5);
    EXPECT_EQ(signal.descr, "driving");
    EXPECT_TRUE(signal.active);
    EXPECT_EQ(signal.interval, 50U);
    EXPECT_TRUE(signal.valid);
    EXPECT_EQ(signal.unit, "mph");
    EXPECT_EQ(signal.userName, "renamed");
    EXPECT_EQ(signal.busId, BUSID_LIN);
    EXPECT_EQ(signal.valueType, SIGNALVALUE_STRING);
    EXPECT_EQ(signal.scale, 2.0);
    EXPECT_EQ(signal.offset, 3.0);
    EXPECT_EQ(signal.valueDescriptionTable, config.valueDescriptionTable);
}

TEST_F(SignalInfoTest, TakesASignalWithoutAnInstanceNameForANewOne) {
    auto config = speedConfig();
    config.instanceName = "";
    info.updateSignalConfiguration(config, kLocalLogger);
    start(kSpeed);

    info.updateSignalConfiguration(speedConfig(), kLocalLogger);

    EXPECT_FALSE(info.getSignalData(kSpeed).active);
    EXPECT_EQ(info.getSignalData(kSpeed).instanceName, "CAN1.Speed");
}

TEST_F(SignalInfoTest, StoresAValueOfAStartedSignal) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    start(kSpeed);

    SignalMessage value = speedValue();
    value.instanceName = "CAN2.Speed";
    value.unit = "m/s";
    info.updateSignalValue(&value, kLocalLogger);

    const SignalData signal = info.getSignalData(kSpeed);
    EXPECT_EQ(signal.timestamp, 1700000000000001U);
    EXPECT_EQ(signal.instanceName, "CAN2.Speed");
    EXPECT_EQ(signal.unit, "m/s");
    EXPECT_EQ(signal.value, "12.5");
    EXPECT_EQ(signal.raw, 25U);
    EXPECT_EQ(signal.phys, 12.5);
    EXPECT_EQ(signal.descr, "driving");
}

TEST_F(SignalInfoTest, DropsAValueOfAnUnknownSignal) {
    const SignalMessage value = speedValue();
    info.updateSignalValue(&value, kLocalLogger);
    EXPECT_TRUE(keys().empty());

    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    start(kSpeed);
    info.updateSignalValue(&value, kOtherLogger);
    EXPECT_EQ(info.getSignalData(kSpeed).value, "NaN");
}

TEST_F(SignalInfoTest, DropsAValueOfASignalThatIsNotStarted) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    const SignalMessage value = speedValue();
    info.updateSignalValue(&value, kLocalLogger);
    EXPECT_EQ(info.getSignalData(kSpeed).value, "NaN");
    EXPECT_EQ(info.getSignalData(kSpeed).timestamp, 0U);

    start(kSpeed);
    info.updateSignalValue(&value, kLocalLogger);
    EXPECT_EQ(info.getSignalData(kSpeed).value, "12.5");
}

TEST_F(SignalInfoTest, DropsAValueOfAStartedSignalThatIsInvalidButHandsOutTheOldOne) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    start(kSpeed);
    const SignalMessage first = speedValue("1");
    info.updateSignalValue(&first, kLocalLogger);
    info.setSignalDataInvalid();

    std::string used;
    info.updateAndUse(speedValue("2"), kLocalLogger,
                      [&](const SignalData& signal) { used = signal.value; });

    EXPECT_EQ(used, "1");
    EXPECT_EQ(info.getSignalData(kSpeed).value, "1");
}

TEST_F(SignalInfoTest, HandsOutOnlyStartedSignals) {
    int calls = 0;
    const auto count = [&](const SignalData&) { ++calls; };
    info.updateAndUse(speedValue(), kLocalLogger, count);
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    info.updateAndUse(speedValue(), kLocalLogger, count);
    EXPECT_EQ(calls, 0);

    start(kSpeed);
    info.updateAndUse(speedValue(), kLocalLogger, count);
    EXPECT_EQ(calls, 1);
}

TEST_F(SignalInfoTest, InvalidatesEveryEntryAndKeepsAll) {
    info.updateSignalConfiguration(speedConfig("A"), kLocalLogger);
    info.updateSignalConfiguration(speedConfig("B"), kOtherLogger);
    info.setSignalDataInvalid();

    EXPECT_EQ(keys().size(), 2U);
    EXPECT_FALSE(info.getSignalData({"A", kLocalLogger}).valid);
    EXPECT_FALSE(info.getSignalData({"B", kOtherLogger}).valid);
}

TEST_F(SignalInfoTest, ClearsEveryEntryButNotItsState) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    info.configState = KSL_MSG_STATE_COMPLETE;
    info.clearSignalData();
    EXPECT_TRUE(keys().empty());
    EXPECT_EQ(info.configState, 2U);
}

TEST_F(SignalInfoTest, ReleasesItsLockWhenACallerThrows) {
    EXPECT_THROW(info.withSignal(kSpeed, [](SignalData*) { throw std::runtime_error("x"); }),
                 std::runtime_error);
    EXPECT_FALSE(info.checkSignal(kSpeed));
}

TEST_F(SignalInfoTest, BeginsOneCycleAtATime) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);

    EXPECT_TRUE(info.beginCycle(1));
    EXPECT_EQ(info.configState, 1U);
    EXPECT_FALSE(info.getSignalData(kSpeed).valid);

    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    EXPECT_FALSE(info.beginCycle(1));
    EXPECT_TRUE(info.getSignalData(kSpeed).valid);
}

TEST_F(SignalInfoTest, BeginsOneCycleWhenTwoThreadsWantTo) {
    for (int round = 0; round < 200; ++round) {
        info.configState = KSL_MSG_STATE_COMPLETE;
        std::atomic<int> begun{0};
        std::thread other([&] { begun += info.beginCycle(1) ? 1 : 0; });
        begun += info.beginCycle(1) ? 1 : 0;
        other.join();
        ASSERT_EQ(begun, 1);
    }
}

TEST_F(SignalInfoTest, EmptiesTheCatalogueOnTheFirstAnswerOfACycleOnly) {
    info.updateSignalConfiguration(speedConfig("Old"), kLocalLogger);
    info.beginCycle(1);
    EXPECT_EQ(keys().size(), 1U);

    EXPECT_TRUE(info.addAnswer(kOtherLogger));
    EXPECT_TRUE(keys().empty());

    info.updateSignalConfiguration(speedConfig("New"), kOtherLogger);
    EXPECT_TRUE(info.addAnswer(kLocalLogger));
    EXPECT_EQ(keys().size(), 1U);
}

TEST_F(SignalInfoTest, CompletesACycleWhenMoreLoggersThanNeighboursHaveAnswered) {
    info.beginCycle(1);
    info.addAnswer(kLocalLogger);
    info.completeCycle(2);
    info.addAnswer(kOtherLogger);
    info.completeCycle(2);
    info.addAnswer(kOtherLogger);
    info.completeCycle(2);
    EXPECT_EQ(info.configState, 1U);

    info.addAnswer(kThirdLogger);
    info.completeCycle(2);
    EXPECT_EQ(info.configState, 2U);
}

TEST_F(SignalInfoTest, StartsCountingAnewInTheNextCycle) {
    info.beginCycle(1);
    info.addAnswer(kLocalLogger);
    info.completeCycle(0);
    ASSERT_EQ(info.configState, 2U);
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);

    info.beginCycle(1);
    EXPECT_TRUE(info.addAnswer(kOtherLogger));
    EXPECT_TRUE(keys().empty());
}

TEST_F(SignalInfoTest, DoesNotCountAnAnswerOutsideACycle) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    EXPECT_FALSE(info.addAnswer(kLocalLogger));
    info.completeCycle(0);
    EXPECT_EQ(info.configState, 0U);
    EXPECT_EQ(keys().size(), 1U);

    info.beginCycle(1);
    info.completeCycle(0);
    EXPECT_EQ(info.configState, 1U);
}

TEST_F(SignalInfoTest, KeepsTheRecordOfAnswersWhenClearedInTheMiddleOfACycle) {
    info.beginCycle(1);
    info.addAnswer(kLocalLogger);
    info.clearSignalData();
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);

    info.addAnswer(kOtherLogger);
    EXPECT_EQ(keys().size(), 1U);
    info.completeCycle(1);
    EXPECT_EQ(info.configState, 2U);
}

TEST_F(SignalInfoTest, AbandonsACycleThatIsUnderWayOnly) {
    info.abandonCycle(2);
    EXPECT_EQ(info.configState, 0U);
    info.configState = KSL_MSG_STATE_COMPLETE;
    info.abandonCycle(2);
    EXPECT_EQ(info.configState, 2U);

    info.beginCycle(1);
    info.addAnswer(kLocalLogger);
    info.abandonCycle(2);
    EXPECT_EQ(info.configState, 0U);

    // The answers of the abandoned cycle do not count in the next one.
    info.beginCycle(1);
    info.addAnswer(kOtherLogger);
    info.completeCycle(1);
    EXPECT_EQ(info.configState, 1U);
}

TEST_F(SignalInfoTest, GoesOnWithStartedSignalsWhenACycleIsAbandoned) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    start(kSpeed);
    info.beginCycle(1);
    info.abandonCycle(2);

    EXPECT_TRUE(info.getSignalData(kSpeed).valid);
    const SignalMessage value = speedValue("7");
    info.updateSignalValue(&value, kLocalLogger);
    EXPECT_EQ(info.getSignalData(kSpeed).value, "7");
}

TEST_F(SignalInfoTest, MakesOnlyThoseSignalsValidAgainThatTheAbandonedCycleInvalidated) {
    const SignalKey wasInvalid("Old", kLocalLogger);
    info.updateSignalConfiguration(speedConfig("Old"), kLocalLogger);
    info.setSignalDataInvalid();
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    info.beginCycle(1);
    info.abandonCycle(2);

    EXPECT_TRUE(info.getSignalData(kSpeed).valid);
    EXPECT_FALSE(info.getSignalData(wasInvalid).valid);
}

TEST_F(SignalInfoTest, ForgetsWhatACycleInvalidatedWhenTheCatalogueIsCleared) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    info.beginCycle(1);
    info.clearSignalData();
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    info.setSignalDataInvalid();
    info.abandonCycle(2);

    EXPECT_FALSE(info.getSignalData(kSpeed).valid);
}

TEST_F(SignalInfoTest, KeepsACycleThatWasBegunOnTheNewConnection) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    info.beginCycle(2);
    info.abandonCycle(2);

    EXPECT_EQ(info.configState, 1U);
    EXPECT_FALSE(info.getSignalData(kSpeed).valid);
    EXPECT_TRUE(info.addAnswer(kLocalLogger));
    info.completeCycle(0);
    EXPECT_EQ(info.configState, 2U);
}

TEST_F(SignalInfoTest, BeginsAnotherCycleWhereTheOneUnderWayWasLostWithItsConnection) {
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);
    EXPECT_TRUE(info.beginCycle(1));
    info.addAnswer(kLocalLogger);
    info.updateSignalConfiguration(speedConfig(), kLocalLogger);

    EXPECT_TRUE(info.beginCycle(2));
    EXPECT_FALSE(info.getSignalData(kSpeed).valid);
    // Who has answered before is waited for again.
    info.addAnswer(kOtherLogger);
    info.completeCycle(1);
    EXPECT_EQ(info.configState, 1U);
    info.abandonCycle(2);
    EXPECT_EQ(info.configState, 1U);
}

TEST_F(SignalInfoTest, SurvivesTwoThreadsThatUseAllOfIt) {
    std::thread bus([this] {
        for (int i = 0; i < 2000; ++i) {
            info.addAnswer(kLocalLogger);
            info.updateSignalConfiguration(speedConfig(), kLocalLogger);
            info.completeCycle(0);
            info.updateAndUse(speedValue(), kLocalLogger, [](const SignalData&) {});
            info.abandonCycle(2);
        }
    });
    for (int i = 0; i < 2000; ++i) {
        info.beginCycle(1);
        info.withSignal(kSpeed, [](SignalData* signal) {
            if (signal != nullptr) {
                signal->active = true;
            }
        });
        info.getSignalData(kSpeed);
        info.getLoggers();
        info.clearSignalData();
    }
    bus.join();
    EXPECT_TRUE(keys().size() <= 1U);
}

}  // namespace
