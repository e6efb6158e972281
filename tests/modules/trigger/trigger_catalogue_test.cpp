#include "modules/trigger/trigger_catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <limits>
#include <thread>

#include "tests/modules/trigger/trigger_samples.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using List = KRPResponseGetEventList;

constexpr std::uint64_t kHighBit = std::uint64_t{1} << 63U;

class TriggerCatalogue : public testing::Test {
  protected:
    void answer(const std::string& logger, std::vector<List::event_t> events) {
        const List message(std::move(events));
        info_.addTriggerMessage(&message, logger);
    }

    TriggerInfo info_;
};

}  // namespace

TEST(TriggerInfoGlobal, IsThereFromTheStart) {
    ASSERT_NE(triggerInfo, nullptr);
    EXPECT_EQ(triggerInfo->state, 0U);
    EXPECT_EQ(triggerInfo->getTriggerMapSize(), 0);
    EXPECT_THAT(triggerInfo->getTriggerList(), IsEmpty());
}

TEST_F(TriggerCatalogue, MergesNothingWithoutAnswers) {
    EXPECT_THAT(info_.mergeTrigger(), IsEmpty());
    EXPECT_THAT(info_.getTriggerList(), IsEmpty());
}

TEST_F(TriggerCatalogue, OrdersEventsByTimeWhateverTheirOrderInTheAnswer) {
    answer(kLocalLogger, {event(30, "c", 3), event(10, "a", 1), event(20, "b", -2, "CET")});
    EXPECT_THAT(info_.mergeTrigger(),
                ElementsAre(event(10, "a", 1), event(20, "b", -2, "CET"), event(30, "c", 3)));
    EXPECT_EQ(info_.getTriggerList(), info_.mergeTrigger());
}

TEST_F(TriggerCatalogue, PutsTheLaterInsertedOfEqualTimesFirst) {
    answer(kLocalLogger,
           {event(10, "a"), event(10, "b"), event(5, "early"), event(10, "c"), event(20, "late")});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(5, "early"), event(10, "c"), event(10, "b"),
                                                  event(10, "a"), event(20, "late")));
}

TEST_F(TriggerCatalogue, PutsALaterMergesEventsBeforeEarlierOnesOfTheSameTime) {
    answer(kOtherLogger, {event(10, "b"), event(20, "x")});
    info_.mergeTrigger();
    answer(kLocalLogger, {event(10, "a"), event(10, "a2")});
    EXPECT_THAT(info_.mergeTrigger(),
                ElementsAre(event(10, "a2"), event(10, "a"), event(10, "b"), event(20, "x")));
}

TEST_F(TriggerCatalogue, AppliesALoggersOffsetBeforeOrdering) {
    knowOffset(kLocalLogger, 0);
    knowOffset(kOtherLogger, -100);
    answer(kLocalLogger, {event(1000, "local")});
    answer(kOtherLogger, {event(1050, "other")});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(950, "other"), event(1000, "local")));
}

TEST_F(TriggerCatalogue, BreaksTiesOfCorrectedTimes) {
    knowOffset(kOtherLogger, 50);
    answer(kLocalLogger, {event(1050, "local")});
    answer(kOtherLogger, {event(1000, "other")});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(1050, "other"), event(1050, "local")));
}

TEST_F(TriggerCatalogue, CountsTheOffsetOfAnUnknownLoggerAsNone) {
    answer(kOtherLogger, {event(7, "a")});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(7, "a")));
}

TEST_F(TriggerCatalogue, MergesWithoutANetworkRecord) {
    delete kslInfo;
    kslInfo = nullptr;
    answer(kOtherLogger, {event(7, "a")});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(7, "a")));
}

TEST_F(TriggerCatalogue, WrapsATimeThatANegativeOffsetTakesBelowZero) {
    knowOffset(kOtherLogger, -10);
    answer(kLocalLogger, {event(100, "local")});
    answer(kOtherLogger, {event(4, "other")});
    EXPECT_THAT(info_.mergeTrigger(),
                ElementsAre(event(100, "local"),
                            event(std::numeric_limits<std::uint64_t>::max() - 5, "other")));
}

TEST_F(TriggerCatalogue, OrdersTimesAsUnsignedNumbers) {
    answer(kLocalLogger, {event(kHighBit + 1, "c"), event(1, "a"), event(kHighBit - 1, "b"),
                          event(std::uint64_t{1} << 32U, "w")});
    EXPECT_THAT(info_.mergeTrigger(),
                ElementsAre(event(1, "a"), event(std::uint64_t{1} << 32U, "w"),
                            event(kHighBit - 1, "b"), event(kHighBit + 1, "c")));
}

TEST_F(TriggerCatalogue, KeepsTheEventOfTheLoggerWhoseNameSortsFirst) {
    knowOffset(kOtherLogger, 5);
    answer(kThirdLogger, {event(1, "same", 3)});
    answer(kOtherLogger, {event(100, "same", 2)});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(105, "same", 2)));
}

TEST_F(TriggerCatalogue, KeepsTheEarlierEventWithinOneAnswer) {
    answer(kLocalLogger, {event(100, "same", 1), event(1, "same", 2)});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(100, "same", 1)));
}

TEST_F(TriggerCatalogue, KeepsWhatAnEarlierMergeHasMet) {
    answer(kThirdLogger, {event(1, "same", 3)});
    info_.mergeTrigger();
    answer(kLocalLogger, {event(100, "same", 1)});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(1, "same", 3)));
}

TEST_F(TriggerCatalogue, TakesAnEmptyMarkerForAMarkerLikeAnyOther) {
    answer(kLocalLogger, {event(2, "", 1), event(1, "", 2), event(3, "a", 3)});
    answer(kOtherLogger, {event(4, "", 4)});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(2, "", 1), event(3, "a", 3)));
}

TEST_F(TriggerCatalogue, ComparesMarkersByteByByte) {
    const std::string withZero("a\0b", 3);
    answer(kLocalLogger, {event(1, "a"), event(2, withZero), event(3, "A"), event(4, "a ")});
    EXPECT_EQ(info_.mergeTrigger().size(), 4U);
}

TEST_F(TriggerCatalogue, ChangesNothingWhenMergedAgain) {
    answer(kLocalLogger, {event(10, "b"), event(10, "a")});
    answer(kOtherLogger, {event(10, "c")});
    const TriggerInfo::EventList first = info_.mergeTrigger();
    // Another offset comes too late for what is in the list already.
    knowOffset(kOtherLogger, -5);
    EXPECT_EQ(info_.mergeTrigger(), first);
}

TEST_F(TriggerCatalogue, StoresACopyOfTheAnswer) {
    List message({event(1, "a")});
    info_.addTriggerMessage(&message, kLocalLogger);
    message.events.clear();
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(1, "a")));
}

TEST_F(TriggerCatalogue, TakesASecondAnswerInThePlaceOfTheFirst) {
    answer(kLocalLogger, {event(1, "a")});
    answer(kLocalLogger, {event(2, "b")});
    EXPECT_EQ(info_.getTriggerMapSize(), 1);
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(2, "b")));
}

TEST_F(TriggerCatalogue, HasBothAnswersOfALoggerThatWereMergedInBetween) {
    answer(kLocalLogger, {event(1, "a"), event(5, "e")});
    info_.mergeTrigger();
    answer(kLocalLogger, {event(3, "a"), event(2, "b")});
    EXPECT_THAT(info_.mergeTrigger(), ElementsAre(event(1, "a"), event(2, "b"), event(5, "e")));
}

TEST_F(TriggerCatalogue, ForgetsEverythingWhenReset) {
    answer(kLocalLogger, {event(1, "a")});
    info_.mergeTrigger();
    info_.state = KSL_MSG_STATE_COMPLETE;
    info_.resetTriggerMap();
    EXPECT_EQ(info_.state, 0U);
    EXPECT_EQ(info_.getTriggerMapSize(), 0);
    EXPECT_THAT(info_.mergeTrigger(), IsEmpty());
}

TEST_F(TriggerCatalogue, MergesASingleAnswerWithoutStoringIt) {
    knowOffset(kOtherLogger, 10);
    const List message({event(5, "a"), event(3, "a"), event(5, "b")});
    info_.mergeTriggerMessage(&message, kOtherLogger);
    EXPECT_EQ(info_.getTriggerMapSize(), 0);
    EXPECT_THAT(info_.getTriggerList(), ElementsAre(event(15, "b"), event(15, "a")));
}

TEST_F(TriggerCatalogue, FindsAMarkerInTheList) {
    EXPECT_FALSE(info_.findComment(event(1, "a")));
    info_.insertEvent(event(9, "a"));
    EXPECT_TRUE(info_.findComment(event(1, "a")));
    EXPECT_FALSE(info_.findComment(event(9, "a ")));
    EXPECT_FALSE(info_.findComment(event(9, "")));
}

TEST_F(TriggerCatalogue, InsertsAnEventBeforeTheFirstThatIsNotEarlier) {
    info_.insertEvent(event(10, "a"));
    info_.insertEvent(event(10, "b"));
    info_.insertEvent(event(kHighBit, "z"));
    info_.insertEvent(event(5, "early"));
    info_.insertEvent(event(10, "c"));
    info_.insertEvent(event(11, "d"));
    EXPECT_THAT(info_.getTriggerList(),
                ElementsAre(event(5, "early"), event(10, "c"), event(10, "b"), event(10, "a"),
                            event(11, "d"), event(kHighBit, "z")));
}

TEST_F(TriggerCatalogue, BeginsACollectionUnlessOneIsUnderWay) {
    answer(kLocalLogger, {event(1, "a")});
    info_.mergeTrigger();
    EXPECT_TRUE(info_.beginCollection(1));
    EXPECT_EQ(info_.state, 1U);
    EXPECT_EQ(info_.getTriggerMapSize(), 0);
    EXPECT_THAT(info_.getTriggerList(), IsEmpty());
    answer(kLocalLogger, {event(1, "a")});
    EXPECT_FALSE(info_.beginCollection(1));
    EXPECT_EQ(info_.state, 1U);
    EXPECT_EQ(info_.getTriggerMapSize(), 1);
    EXPECT_TRUE(info_.mergeAndComplete(0).complete);
    EXPECT_TRUE(info_.beginCollection(1));
}

TEST_F(TriggerCatalogue, IsCompleteWhenMoreLoggersHaveAnsweredThanThereAreNeighbours) {
    EXPECT_TRUE(info_.beginCollection(1));
    EXPECT_FALSE(info_.mergeAndComplete(0).complete);
    answer(kLocalLogger, {event(1, "a")});
    answer(kLocalLogger, {event(1, "a")});
    EXPECT_FALSE(info_.mergeAndComplete(1).complete);
    EXPECT_FALSE(info_.mergeAndComplete(std::nullopt).complete);
    EXPECT_EQ(info_.state, 1U);
    answer(kOtherLogger, {event(2, "b")});
    const TriggerInfo::Merged merged = info_.mergeAndComplete(1);
    EXPECT_TRUE(merged.complete);
    EXPECT_THAT(merged.events, ElementsAre(event(1, "a"), event(2, "b")));
    EXPECT_EQ(info_.state, 2U);
}

TEST_F(TriggerCatalogue, AbandonsACollectionUnderWayAndNothingElse) {
    EXPECT_TRUE(info_.beginCollection(1));
    info_.abandonCollection(2);
    EXPECT_EQ(info_.state, 0U);
    answer(kLocalLogger, {});
    EXPECT_TRUE(info_.mergeAndComplete(0).complete);
    info_.abandonCollection(2);
    EXPECT_EQ(info_.state, 2U);
}

TEST_F(TriggerCatalogue, KeepsACollectionThatWasBegunOnTheNewConnection) {
    EXPECT_TRUE(info_.beginCollection(2));
    info_.abandonCollection(2);
    EXPECT_EQ(info_.state, 1U);
}

TEST_F(TriggerCatalogue, BeginsAnewWhereTheCollectionUnderWayWasLostWithItsConnection) {
    EXPECT_TRUE(info_.beginCollection(1));
    answer(kLocalLogger, {event(1, "a")});
    EXPECT_TRUE(info_.beginCollection(2));
    EXPECT_EQ(info_.getTriggerMapSize(), 0);
    EXPECT_EQ(info_.state, 1U);
}

TEST_F(TriggerCatalogue, IsNeverEmptyAndCompleteWhenACollectionBeginsMeanwhile) {
    // The other thread can begin one only after this one has completed one.
    std::atomic<int> begun{0};
    std::atomic<bool> stop{false};
    std::thread other([&] {
        while (!stop) {
            begun += info_.beginCollection(1) ? 1 : 0;
        }
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    int emptyAndComplete = 0;
    while (begun < 1000 && std::chrono::steady_clock::now() < deadline) {
        answer(kLocalLogger, {event(1, "a")});
        const TriggerInfo::Merged merged = info_.mergeAndComplete(0);
        emptyAndComplete += merged.complete && merged.events.empty() ? 1 : 0;
    }
    stop = true;
    other.join();
    EXPECT_GT(begun, 1);
    EXPECT_EQ(emptyAndComplete, 0);
}

TEST_F(TriggerCatalogue, LetsOneOfManyThreadsBeginACollection) {
    for (int round = 0; round < 200; ++round) {
        info_.resetTriggerMap();
        std::atomic<int> begun{0};
        std::latch ready(2);
        const auto begin = [&] {
            ready.arrive_and_wait();
            begun += info_.beginCollection(1) ? 1 : 0;
        };
        std::thread other(begin);
        begin();
        other.join();
        ASSERT_EQ(begun, 1);
    }
}
