#include "modules/busload/busload_catalogue.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/modules/busload/busload_samples.h"

namespace {

const KRPResponseGetBusNames kOneBus({{BUSID_CAN, 0, 0, "Powertrain"}});
const KRPResponseGetBusNames kTwoBuses({{BUSID_LIN, 0, 0, "Seats"}, {BUSID_LIN, 1, 0, "Doors"}});

}  // namespace

TEST(BusCatalogue, StartsEmptyWithNothingRequestedAndNotRunning) {
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 0);
    EXPECT_EQ(busInfo->state, 0U);
    EXPECT_FALSE(busInfo->running);
    EXPECT_EQ(busnamesActiveOnly, 1);
}

TEST(BusCatalogue, StoresACopyPerLogger) {
    BusInfo info;
    {
        KRPResponseGetBusNames answer = kOneBus;
        info.addBusnamesMessage(&answer, kLocalLogger);
        answer.busNames.clear();
    }
    info.addBusnamesMessage(&kTwoBuses, kOtherLogger);
    EXPECT_EQ(info.getBusnamesMapSize(), 2);
    const BusInfo::BusnamesMap map = info.getBusnamesMap();
    EXPECT_EQ(map.at(kLocalLogger)->busNames, kOneBus.busNames);
    EXPECT_EQ(map.at(kOtherLogger)->busNames, kTwoBuses.busNames);
}

TEST(BusCatalogue, ReleasesAnAnswerThatANewerOneReplaces) {
    BusInfo info;
    info.addBusnamesMessage(&kOneBus, kLocalLogger);
    const std::weak_ptr<const KRPResponseGetBusNames> old = info.getBusnamesMap().at(kLocalLogger);
    EXPECT_FALSE(old.expired());
    info.addBusnamesMessage(&kTwoBuses, kLocalLogger);
    EXPECT_TRUE(old.expired());
    EXPECT_EQ(info.getBusnamesMapSize(), 1);
    EXPECT_EQ(info.getBusnamesMap().at(kLocalLogger)->busNames, kTwoBuses.busNames);
}

TEST(BusCatalogue, KeepsAReplacedAnswerForAsLongAsACopyOfTheMapHasIt) {
    BusInfo info;
    info.addBusnamesMessage(&kOneBus, kLocalLogger);
    const BusInfo::BusnamesMap copy = info.getBusnamesMap();
    info.addBusnamesMessage(&kTwoBuses, kLocalLogger);
    info.resetBusNamesMap();
    EXPECT_EQ(copy.at(kLocalLogger)->busNames, kOneBus.busNames);
}

TEST(BusCatalogue, ForgetsEverythingWhenReset) {
    BusInfo info;
    info.addBusnamesMessage(&kOneBus, kLocalLogger);
    info.state = KSL_MSG_STATE_COMPLETE;
    info.resetBusNamesMap();
    EXPECT_EQ(info.getBusnamesMapSize(), 0);
    EXPECT_EQ(info.state, 0U);
}

TEST(BusCatalogue, BeginsOneCollectionOnly) {
    BusInfo info;
    info.addBusnamesMessage(&kOneBus, kLocalLogger);
    EXPECT_TRUE(info.beginCollection(1));
    EXPECT_EQ(info.state, 1U);
    EXPECT_EQ(info.getBusnamesMapSize(), 0);
    info.addBusnamesMessage(&kOneBus, kLocalLogger);
    EXPECT_FALSE(info.beginCollection(1));
    EXPECT_EQ(info.state, 1U);
    EXPECT_EQ(info.getBusnamesMapSize(), 1);
    EXPECT_TRUE(info.completeCollection(0));
    EXPECT_FALSE(info.beginCollection(1));
    EXPECT_EQ(info.state, 2U);
    EXPECT_EQ(info.getBusnamesMapSize(), 1);
}

TEST(BusCatalogue, IsCompleteWhenMoreLoggersHaveAnsweredThanThereAreNeighbours) {
    BusInfo info;
    EXPECT_TRUE(info.beginCollection(1));
    EXPECT_FALSE(info.completeCollection(0));
    info.addBusnamesMessage(&kOneBus, kLocalLogger);
    EXPECT_FALSE(info.completeCollection(1));
    info.addBusnamesMessage(&kTwoBuses, kLocalLogger);
    EXPECT_FALSE(info.completeCollection(1));
    EXPECT_EQ(info.state, 1U);
    info.addBusnamesMessage(&kTwoBuses, kOtherLogger);
    EXPECT_TRUE(info.completeCollection(1));
    EXPECT_EQ(info.state, 2U);
}

TEST(BusCatalogue, AbandonsARequestUnderWayAndNothingElse) {
    BusInfo info;
    info.abandonCollection(2);
    EXPECT_EQ(info.state, 0U);
    EXPECT_TRUE(info.beginCollection(1));
    info.abandonCollection(2);
    EXPECT_EQ(info.state, 0U);
    EXPECT_TRUE(info.beginCollection(1));
    info.addBusnamesMessage(&kOneBus, kLocalLogger);
    EXPECT_TRUE(info.completeCollection(0));
    info.abandonCollection(2);
    EXPECT_EQ(info.state, 2U);
}

TEST(BusCatalogue, KeepsARequestThatWasMadeOnTheNewConnection) {
    BusInfo info;
    EXPECT_TRUE(info.beginCollection(2));
    info.abandonCollection(2);
    EXPECT_EQ(info.state, 1U);
}

TEST(BusCatalogue, BeginsAnewWhereTheRequestUnderWayWasLostWithItsConnection) {
    BusInfo info;
    EXPECT_TRUE(info.beginCollection(1));
    info.addBusnamesMessage(&kOneBus, kLocalLogger);
    EXPECT_TRUE(info.beginCollection(2));
    EXPECT_EQ(info.getBusnamesMapSize(), 0);
    EXPECT_EQ(info.state, 1U);
}
