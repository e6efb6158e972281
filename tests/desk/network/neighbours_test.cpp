#include "desk/network/neighbours.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using desk::Clock;
using desk::Milliseconds;
using desk::Neighbours;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr Milliseconds kHeartbeat{500};
constexpr Milliseconds kTimeout{3000};
constexpr const char* kB = "02:00:00:00:00:0B";
constexpr const char* kC = "02:00:00:00:00:0C";

class NeighboursTest : public testing::Test {
  protected:
    Clock::time_point now() const { return now_; }
    // Lets time pass, in which the own heartbeat comes back and the loggers in `alive` are heard.
    // Returns whether the set has changed by expiry.
    bool pass(Milliseconds time, const std::vector<std::string>& alive = {}) {
        bool changed = false;
        for (Milliseconds passed{0}; passed < time; passed += kHeartbeat) {
            now_ += kHeartbeat;
            neighbours_.ownHeartbeatCameBack(now_);
            for (const std::string& mac : alive) {
                neighbours_.heard(mac, "i", now_);
            }
            changed = neighbours_.expire(now_) || changed;
        }
        return changed;
    }
    // Lets time pass in which nothing comes over the bus.
    bool pause(Milliseconds time) {
        bool changed = false;
        for (Milliseconds passed{0}; passed < time; passed += kHeartbeat) {
            now_ += kHeartbeat;
            changed = neighbours_.expire(now_) || changed;
        }
        return changed;
    }

    Neighbours neighbours_{kHeartbeat, kTimeout};

  private:
    Clock::time_point now_{std::chrono::seconds(1000)};
};

TEST_F(NeighboursTest, AreThoseWhoWereHeardInAscendingOrder) {
    EXPECT_TRUE(neighbours_.heard(kC, "i", now()));
    EXPECT_TRUE(neighbours_.heard(kB, "i", now()));
    EXPECT_FALSE(neighbours_.heard(kB, "i", now()));
    EXPECT_THAT(neighbours_.macs(), ElementsAre(kB, kC));
    EXPECT_TRUE(neighbours_.contains(kB));
    EXPECT_FALSE(neighbours_.contains("02:00:00:00:00:0D"));
}

TEST_F(NeighboursTest, LeaveInGoodOrder) {
    neighbours_.heard(kB, "i", now());
    EXPECT_TRUE(neighbours_.left(kB, "i"));
    EXPECT_FALSE(neighbours_.left(kB, "i"));
    EXPECT_THAT(neighbours_.macs(), IsEmpty());
}

TEST_F(NeighboursTest, StayWhenAnEarlierInstanceLeaves) {
    neighbours_.heard(kB, "first", now());
    neighbours_.heard(kB, "second", now());
    EXPECT_FALSE(neighbours_.left(kB, "first"));
    EXPECT_THAT(neighbours_.macs(), ElementsAre(kB));
}

TEST_F(NeighboursTest, ExpireWhenTheyAreNoLongerHeard) {
    pass(kHeartbeat, {kB, kC});
    EXPECT_FALSE(pass(kTimeout, {kC}));
    EXPECT_TRUE(pass(kHeartbeat, {kC}));
    EXPECT_THAT(neighbours_.macs(), ElementsAre(kC));
}

TEST_F(NeighboursTest, StayAsLongAsTheyAreHeard) {
    neighbours_.heard(kB, "i", now());
    EXPECT_FALSE(pass(Milliseconds(60000), {kB}));
}

TEST_F(NeighboursTest, DoNotExpireBeforeTheOwnHeartbeatHasEverComeBack) {
    neighbours_.heard(kB, "i", now());
    EXPECT_FALSE(pause(Milliseconds(60000)));
}

TEST_F(NeighboursTest, DoNotExpireWhileTheBusStandsStill) {
    pass(kHeartbeat, {kB});
    EXPECT_FALSE(pause(Milliseconds(60000)));
    EXPECT_THAT(neighbours_.macs(), ElementsAre(kB));
}

TEST_F(NeighboursTest, HaveTheirWholeTimeAfterAPause) {
    pass(kHeartbeat, {kB});
    pause(Milliseconds(60000));
    EXPECT_FALSE(pass(kTimeout));
    EXPECT_TRUE(pass(2 * kHeartbeat));
    EXPECT_THAT(neighbours_.macs(), IsEmpty());
}

TEST_F(NeighboursTest, HaveMoreTimeAfterTheBusCameBack) {
    pass(kHeartbeat, {kB});
    neighbours_.busCameBack(now());
    EXPECT_FALSE(pass(kTimeout + Milliseconds(3000)));
    EXPECT_TRUE(pass(2 * kHeartbeat));
}

TEST_F(NeighboursTest, ExpireOnlyWithAnOwnHeartbeatOfTheNewConnection) {
    pass(kHeartbeat, {kB});
    neighbours_.busCameBack(now());
    EXPECT_FALSE(pause(Milliseconds(60000)));
}

}  // namespace
