#include "network/collection_state.h"

#include <gtest/gtest.h>

namespace {

TEST(CollectionState, IsEmptyAtFirst) {
    const CollectionState state;
    EXPECT_EQ(state, KSL_MSG_STATE_EMPTY);
    EXPECT_FALSE(state.isUnderWay(0));
}

TEST(CollectionState, IsUnderWayOnItsConnectionOnceBegun) {
    CollectionState state;
    EXPECT_TRUE(state.begin(3));
    EXPECT_EQ(state, KSL_MSG_STATE_UPDATE);
    EXPECT_TRUE(state.isUnderWay(3));
    EXPECT_FALSE(state.begin(3));
    EXPECT_EQ(state, KSL_MSG_STATE_UPDATE);
}

TEST(CollectionState, IsOverWithTheConnectionThatItWasBegunOn) {
    CollectionState state;
    state.begin(3);
    EXPECT_FALSE(state.isUnderWay(4));
    EXPECT_TRUE(state.abandon(4));
    EXPECT_EQ(state, KSL_MSG_STATE_EMPTY);
    EXPECT_FALSE(state.abandon(4));
}

TEST(CollectionState, GoesOnWhenTheLossOfAnEarlierConnectionIsNoticedLate) {
    CollectionState state;
    state.begin(4);
    EXPECT_FALSE(state.abandon(4));
    EXPECT_EQ(state, KSL_MSG_STATE_UPDATE);
    EXPECT_FALSE(state.abandon(3));
    EXPECT_EQ(state, KSL_MSG_STATE_UPDATE);
}

TEST(CollectionState, BeginsAnewOnANewConnectionBeforeTheOldOneIsAbandoned) {
    CollectionState state;
    state.begin(3);
    EXPECT_TRUE(state.begin(4));
    EXPECT_FALSE(state.abandon(4));
    EXPECT_TRUE(state.isUnderWay(4));
}

TEST(CollectionState, IsCompleteWhenMoreLoggersHaveAnsweredThanThereAreNeighbours) {
    CollectionState state;
    state.begin(3);
    EXPECT_FALSE(state.complete(0, 0));
    EXPECT_FALSE(state.complete(2, 2));
    EXPECT_EQ(state, KSL_MSG_STATE_UPDATE);
    EXPECT_TRUE(state.complete(3, 2));
    EXPECT_EQ(state, KSL_MSG_STATE_COMPLETE);
}

TEST(CollectionState, BeginsAnewWhenItIsComplete) {
    CollectionState state;
    state.begin(3);
    state = KSL_MSG_STATE_COMPLETE;
    EXPECT_FALSE(state.abandon(4));
    EXPECT_EQ(state, KSL_MSG_STATE_COMPLETE);
    EXPECT_TRUE(state.begin(3));
    EXPECT_EQ(state, KSL_MSG_STATE_UPDATE);
}

}  // namespace
