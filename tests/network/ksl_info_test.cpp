#include "network/ksl_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "krpbus/messages/krp_get_device_components.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

const std::string kLocal = "02:00:00:00:00:01";
const std::string kSecond = "02:00:00:00:00:02";
const std::string kThird = "02:00:00:00:00:03";

using StatusAnswer = Simple1MessageResponse<23, unsigned char>;
using OffsetAnswer = Simple1MessageResponse<89, long long>;
using ConfigAnswer = String2MessageResponse<82>;
using ZoneAnswer = StringMessageResponse<53, 1>;

void addStatus(KslInfo& info, const std::string& mac, unsigned char status) {
    const StatusAnswer answer(status);
    info.addStateMessage(&answer, mac);
}

void addOffset(KslInfo& info, const std::string& mac, long long offset) {
    const OffsetAnswer answer(offset);
    info.addKslTimeOffsetMessage(&answer, mac);
}

void addConfig(KslInfo& info, const std::string& mac, const std::string& config,
               const std::string& name) {
    const ConfigAnswer answer(config, name);
    info.addConfigMessage(&answer, mac);
}

void addZone(KslInfo& info, const std::string& mac, const std::string& zone) {
    const ZoneAnswer answer(zone);
    info.addTimeZoneMessage(&answer, mac);
}

void addDevice(KslInfo& info, const std::string& mac, unsigned char deviceClass,
               unsigned char subType, const std::string& version) {
    const KRPResponseGetDeviceComponents answer(deviceClass, subType, version, "device");
    info.addDevCompMessage(&answer, mac);
}

std::string text(kslMsgState_t state) {
    std::ostringstream out;
    out << state;
    return out.str();
}

}  // namespace

TEST(KslMsgState, IsWrittenByName) {
    EXPECT_EQ(text(KSL_MSG_STATE_EMPTY), "KSL_MSG_STATE_EMPTY");
    EXPECT_EQ(text(KSL_MSG_STATE_UPDATE), "KSL_MSG_STATE_UPDATE");
    EXPECT_EQ(text(KSL_MSG_STATE_COMPLETE), "KSL_MSG_STATE_COMPLETE");
}

TEST(KslMsgState, HasTheNumbersThatEveryoneCountsOn) {
    EXPECT_EQ(KSL_MSG_STATE_EMPTY, 0U);
    EXPECT_EQ(KSL_MSG_STATE_UPDATE, 1U);
    EXPECT_EQ(KSL_MSG_STATE_COMPLETE, 2U);
}

TEST(KslInfoRecord, IsThereOnceTheProgramIsLoaded) {
    ASSERT_NE(kslInfo, nullptr);
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_EMPTY);
    EXPECT_FALSE(kslInfo->loggerInfoComplete());
}

TEST(KslInfo, StartsEmpty) {
    const KslInfo info;
    KslInfo::ConfigMap configs;
    EXPECT_TRUE(info.getNeighbours().empty());
    EXPECT_TRUE(info.getStatusMap().empty());
    EXPECT_TRUE(info.getKslTimeOffsetMap().empty());
    EXPECT_FALSE(info.getConfigMap(configs));
    EXPECT_FALSE(info.networkInUse);
    EXPECT_FALSE(info.standsAlone);
    for (const auto* state :
         {&info.neighboursState, &info.configState, &info.timeZoneState,
          &info.deviceComponentsState, &info.statusState, &info.timeOffsetState}) {
        EXPECT_EQ(*state, KSL_MSG_STATE_EMPTY);
    }
}

TEST(KslInfo, SetsTheFlagsFromTheNeighbourList) {
    KslInfo info;
    info.setNeighbours({kSecond, kThird});
    EXPECT_TRUE(info.networkInUse);
    EXPECT_FALSE(info.standsAlone);
    EXPECT_THAT(info.getNeighbours(), ElementsAre(kSecond, kThird));

    info.setNeighbours({});
    EXPECT_FALSE(info.networkInUse);
    EXPECT_TRUE(info.standsAlone);
    EXPECT_TRUE(info.getNeighbours().empty());
}

TEST(KslInfo, KeepsTheStatusAsDecimalTextAndReplacesIt) {
    KslInfo info;
    addStatus(info, kLocal, 255);
    addStatus(info, kSecond, 0);
    EXPECT_THAT(info.getStatusMap(), ElementsAre(Pair(kLocal, "255"), Pair(kSecond, "0")));
    addStatus(info, kLocal, 7);
    EXPECT_THAT(info.getStatusMap(), ElementsAre(Pair(kLocal, "7"), Pair(kSecond, "0")));
}

TEST(KslInfo, KeepsTimeOffsetsOfAllSixtyFourBits) {
    KslInfo info;
    addOffset(info, kLocal, -9223372036854775807LL - 1);
    addOffset(info, kSecond, 9223372036854775807LL);
    EXPECT_EQ(info.getKslTimeOffset(kLocal), INT64_MIN);
    EXPECT_EQ(info.getKslTimeOffset(kSecond), INT64_MAX);
    addOffset(info, kSecond, 5);
    EXPECT_EQ(info.getKslTimeOffset(kSecond), 5);
}

TEST(KslInfo, AnswersZeroForAnUnknownTimeOffsetAndKeepsNothingOfIt) {
    KslInfo info;
    addOffset(info, kLocal, 12);
    EXPECT_EQ(info.getKslTimeOffset(kSecond), 0);
    EXPECT_THAT(info.getKslTimeOffsetMap(), ElementsAre(Pair(kLocal, 12)));
}

TEST(KslInfo, GathersTheThreeAnswersOfALoggerInOneEntry) {
    KslInfo info;
    addConfig(info, kLocal, "winter test", "Front");
    addZone(info, kLocal, "CET");
    addDevice(info, kLocal, 16, 22, "3.1.4");
    KslInfo::ConfigMap configs;
    ASSERT_TRUE(info.getConfigMap(configs));
    ASSERT_EQ(configs.size(), 1U);
    const KslInfo::logger_info_t& entry = configs.at(kLocal);
    EXPECT_TRUE(entry.hasConfig);
    EXPECT_EQ(entry.configName, "winter test");
    EXPECT_TRUE(entry.hasTimeZone);
    EXPECT_EQ(entry.timeZone, "CET");
    EXPECT_TRUE(entry.hasDeviceComponents);
    EXPECT_EQ(entry.deviceClass, 16U);
    EXPECT_EQ(entry.subType, 22U);
    EXPECT_EQ(entry.softwareVersion, "3.1.4");
}

TEST(KslInfo, TakesTheSecondTextOfAConfigurationForTheLoggersName) {
    KslInfo info;
    addConfig(info, kLocal, "winter test", "Front");
    std::string name = "before";
    EXPECT_TRUE(info.getLoggerName(kLocal, name));
    EXPECT_EQ(name, "Front");
}

TEST(KslInfo, KnowsALoggerWhoseNameIsEmpty) {
    KslInfo info;
    addConfig(info, kLocal, "winter test", "");
    std::string name = "before";
    testing::internal::CaptureStdout();
    EXPECT_TRUE(info.getLoggerName(kLocal, name));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(name, "");
}

TEST(KslInfo, ReplacesWhatALoggerSaidOfItselfBefore) {
    KslInfo info;
    addConfig(info, kLocal, "winter", "Front");
    addZone(info, kLocal, "CET");
    addDevice(info, kLocal, 1, 2, "3.1");
    addConfig(info, kLocal, "summer", "Nose");
    addZone(info, kLocal, "UTC");
    addDevice(info, kLocal, 16, 21, "3.2");
    KslInfo::ConfigMap configs;
    ASSERT_TRUE(info.getConfigMap(configs));
    const KslInfo::logger_info_t& entry = configs.at(kLocal);
    EXPECT_EQ(entry.configName, "summer");
    EXPECT_EQ(entry.timeZone, "UTC");
    EXPECT_EQ(entry.deviceClass, 16U);
    EXPECT_EQ(entry.subType, 21U);
    EXPECT_EQ(entry.softwareVersion, "3.2");
    std::string name;
    info.getLoggerName(kLocal, name);
    EXPECT_EQ(name, "Nose");
}

TEST(KslInfo, LeavesTheNameAloneWhenThereIsNone) {
    const KslInfo info;
    std::string name = "before";
    testing::internal::CaptureStdout();
    EXPECT_FALSE(info.getLoggerName(kLocal, name));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[DEBUG] KLV::getLoggerName() no logger name\n");
    EXPECT_EQ(name, "before");
}

TEST(KslInfo, CompletesWithTheFirstAnswerWhenThereAreNoNeighbours) {
    KslInfo info;
    EXPECT_FALSE(info.completeStatus());
    EXPECT_FALSE(info.completeTimeOffset());
    EXPECT_FALSE(info.completeConfig());
    EXPECT_FALSE(info.completeTimeZone());
    EXPECT_FALSE(info.completeDeviceComponents());

    addStatus(info, kLocal, 1);
    addOffset(info, kLocal, 1);
    addConfig(info, kLocal, "c", "n");
    addZone(info, kLocal, "z");
    addDevice(info, kLocal, 1, 0, "1");
    EXPECT_TRUE(info.completeStatus());
    EXPECT_TRUE(info.completeTimeOffset());
    EXPECT_TRUE(info.completeConfig());
    EXPECT_TRUE(info.completeTimeZone());
    EXPECT_TRUE(info.completeDeviceComponents());
    for (const auto* state : {&info.configState, &info.timeZoneState, &info.deviceComponentsState,
                              &info.statusState, &info.timeOffsetState}) {
        EXPECT_EQ(*state, KSL_MSG_STATE_COMPLETE);
    }
    EXPECT_TRUE(info.loggerInfoComplete());
}

TEST(KslInfo, IsNotCompletedByOneLoggerThatAnswersTwice) {
    KslInfo info;
    info.setNeighbours({kSecond});
    addStatus(info, kLocal, 1);
    addStatus(info, kLocal, 2);
    addOffset(info, kLocal, 1);
    addOffset(info, kLocal, 1);
    addConfig(info, kLocal, "c", "n");
    addConfig(info, kLocal, "c", "n");
    EXPECT_FALSE(info.completeStatus());
    EXPECT_FALSE(info.completeTimeOffset());
    EXPECT_FALSE(info.completeConfig());
    EXPECT_EQ(info.statusState, KSL_MSG_STATE_EMPTY);
    addStatus(info, kSecond, 3);
    EXPECT_TRUE(info.completeStatus());
}

TEST(KslInfo, CountsForEachCollectionTheLoggersThatAnsweredIt) {
    KslInfo info;
    info.setNeighbours({kSecond});
    addConfig(info, kLocal, "c", "n");
    addZone(info, kSecond, "z");
    EXPECT_FALSE(info.completeConfig()) << "two loggers are known, but one gave its configuration";
    EXPECT_FALSE(info.completeTimeZone());
    addZone(info, kLocal, "z");
    EXPECT_TRUE(info.completeTimeZone());
    EXPECT_FALSE(info.completeConfig());
    EXPECT_FALSE(info.completeDeviceComponents());
    EXPECT_FALSE(info.loggerInfoComplete());
}

TEST(KslInfo, CountsALoggerThatIsNotOnTheNeighbourList) {
    KslInfo info;
    info.setNeighbours({kSecond});
    addStatus(info, kLocal, 1);
    addStatus(info, kThird, 1);
    EXPECT_TRUE(info.completeStatus());
    addOffset(info, kLocal, 1);
    addOffset(info, kThird, 1);
    EXPECT_TRUE(info.completeTimeOffset());
    addConfig(info, kLocal, "c", "n");
    addConfig(info, kThird, "c", "n");
    EXPECT_TRUE(info.completeConfig());
}

TEST(KslInfo, ForgetsALoggerThatHasLeftAfterAReset) {
    KslInfo info;
    info.setNeighbours({kSecond});
    addStatus(info, kThird, 1);
    addOffset(info, kThird, 1);
    addConfig(info, kThird, "c", "n");
    info.resetStatusMap();
    info.resetKslTimeOffsetMap();
    info.resetConfigMap();
    addStatus(info, kLocal, 1);
    addOffset(info, kLocal, 1);
    addConfig(info, kLocal, "c", "n");
    EXPECT_FALSE(info.completeStatus());
    EXPECT_FALSE(info.completeTimeOffset());
    EXPECT_FALSE(info.completeConfig());
    EXPECT_EQ(info.getKslTimeOffset(kThird), 0);
}

TEST(KslInfo, WaitsForAllThreeCollectionsOnceTheConfigurationMapIsEmptied) {
    KslInfo info;
    addConfig(info, kLocal, "c", "n");
    addZone(info, kLocal, "z");
    addDevice(info, kLocal, 1, 0, "1");
    ASSERT_TRUE(info.completeConfig() && info.completeTimeZone() &&
                info.completeDeviceComponents());
    info.resetConfigMap();
    EXPECT_EQ(info.configState, KSL_MSG_STATE_UPDATE);
    EXPECT_EQ(info.timeZoneState, KSL_MSG_STATE_UPDATE);
    EXPECT_EQ(info.deviceComponentsState, KSL_MSG_STATE_UPDATE);
    EXPECT_FALSE(info.loggerInfoComplete());
    KslInfo::ConfigMap configs{{kLocal, {}}};
    EXPECT_FALSE(info.getConfigMap(configs));
    EXPECT_TRUE(configs.empty());
}

TEST(KslInfo, KeepsTheLoggersNamesWhenTheConfigurationMapIsEmptied) {
    KslInfo info;
    addConfig(info, kLocal, "c", "Front");
    info.resetConfigMap();
    std::string name;
    info.getLoggerName(kLocal, name);
    EXPECT_EQ(name, "Front");
}

TEST(KslInfo, LeavesTheNeighbourStateAloneWhenMapsAreEmptied) {
    KslInfo info;
    for (const kslMsgState_t state :
         {KSL_MSG_STATE_EMPTY, KSL_MSG_STATE_UPDATE, KSL_MSG_STATE_COMPLETE}) {
        info.neighboursState = state;
        info.resetStatusMap();
        info.resetConfigMap();
        info.resetKslTimeOffsetMap();
        EXPECT_EQ(info.neighboursState, state);
    }
}

TEST(KslInfo, IsCompleteOnlyWithAllThreeCollections) {
    KslInfo info;
    info.configState = KSL_MSG_STATE_COMPLETE;
    info.timeZoneState = KSL_MSG_STATE_COMPLETE;
    info.deviceComponentsState = KSL_MSG_STATE_COMPLETE;
    EXPECT_TRUE(info.loggerInfoComplete());
    for (auto* state : {&info.configState, &info.timeZoneState, &info.deviceComponentsState}) {
        *state = KSL_MSG_STATE_UPDATE;
        EXPECT_FALSE(info.loggerInfoComplete());
        *state = KSL_MSG_STATE_COMPLETE;
    }
}

TEST(KslInfo, ForgetsANeighbourRequestThatAReconnectHasLost) {
    KslInfo info;
    EXPECT_TRUE(info.beginNeighbours(1));
    EXPECT_FALSE(info.beginNeighbours(1));
    info.busReconnected(2);
    EXPECT_EQ(info.neighboursState, KSL_MSG_STATE_EMPTY);
    info.neighboursState = KSL_MSG_STATE_COMPLETE;
    info.busReconnected(2);
    EXPECT_EQ(info.neighboursState, KSL_MSG_STATE_COMPLETE);
}

TEST(KslInfo, KeepsANeighbourRequestThatWasMadeOnTheNewConnection) {
    KslInfo info;
    EXPECT_TRUE(info.beginNeighbours(1));
    EXPECT_TRUE(info.beginNeighbours(2));
    info.busReconnected(2);
    EXPECT_EQ(info.neighboursState, KSL_MSG_STATE_UPDATE);
}

TEST(KslInfo, CanBeFilledAndReadByTwoThreads) {
    KslInfo info;
    std::thread writer([&info] {
        for (int i = 0; i < 2000; ++i) {
            addStatus(info, "mac" + std::to_string(i % 10), static_cast<unsigned char>(i));
            addConfig(info, "mac" + std::to_string(i % 10), "c", "n");
            info.completeStatus();
            info.completeConfig();
            info.setNeighbours({kSecond});
        }
    });
    for (int i = 0; i < 2000; ++i) {
        info.resetStatusMap();
        EXPECT_LE(info.getStatusMap().size(), 10U);
        KslInfo::ConfigMap configs;
        info.getConfigMap(configs);
        EXPECT_LE(configs.size(), 10U);
        info.resetConfigMap();
    }
    writer.join();
    EXPECT_EQ(info.getNeighbours().size(), 1U);
}
