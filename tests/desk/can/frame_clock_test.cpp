#include "desk/can/frame_clock.h"

#include <gtest/gtest.h>

using desk::can::FrameClock;

namespace {

constexpr std::uint64_t kNow = 1'700'000'000'000'000;
constexpr std::uint64_t kSecond = 1'000'000;

TEST(FrameClock, CountsTheDifferencesOfAFile) {
    FrameClock clock(FrameClock::Input::File, 2.0);
    EXPECT_EQ(clock.next(5 * kSecond, kNow).time, kNow);
    const FrameClock::Moment moment = clock.next(7 * kSecond, kNow + 10);
    EXPECT_EQ(moment.time, kNow + kSecond);
    EXPECT_TRUE(moment.isPaced);
    EXPECT_EQ(clock.next(1007 * kSecond, kNow).time, kNow + 501 * kSecond) << "a gap";
}

TEST(FrameClock, BeginsARoundOfAFileNow) {
    FrameClock clock(FrameClock::Input::File, 1.0);
    clock.next(5 * kSecond, kNow);
    clock.next(9 * kSecond, kNow);
    clock.beginAnew();
    EXPECT_EQ(clock.next(5 * kSecond, kNow + 4 * kSecond).time, kNow + 4 * kSecond);
}

TEST(FrameClock, BeginsAnewNowWhereAFileStepsBack) {
    FrameClock clock(FrameClock::Input::File, 1.0);
    clock.next(5 * kSecond, kNow);
    EXPECT_EQ(clock.next(3 * kSecond, kNow + 100).time, kNow + 100);
    EXPECT_EQ(clock.next(4 * kSecond, kNow + 200).time, kNow + 100 + kSecond);
}

TEST(FrameClock, KeepsLiveStampsThatAreCloseToTheClock) {
    FrameClock clock(FrameClock::Input::Live, 1.0);
    const FrameClock::Moment moment = clock.next(kNow - 59 * kSecond, kNow);
    EXPECT_EQ(moment.time, kNow - 59 * kSecond);
    EXPECT_FALSE(moment.isPaced);
    EXPECT_EQ(clock.next(kNow - 58 * kSecond, kNow + kSecond).time, kNow - 58 * kSecond);
}

TEST(FrameClock, CountsTheDifferencesOfOtherLiveStamps) {
    for (const std::uint64_t first : {std::uint64_t{0}, kNow - 61 * kSecond, kNow + 61 * kSecond}) {
        FrameClock clock(FrameClock::Input::Live, 1.0);
        EXPECT_EQ(clock.next(first, kNow).time, kNow);
        const FrameClock::Moment moment = clock.next(first + kSecond, kNow + kSecond);
        EXPECT_EQ(moment.time, kNow + kSecond);
        EXPECT_TRUE(moment.isPaced);
        EXPECT_EQ(clock.next(first + 100 * kSecond, kNow + kSecond).time, kNow + kSecond) << "a jump";
    }
}

TEST(FrameClock, BeginsAnewNowWhereLiveStampsStepBack) {
    FrameClock clock(FrameClock::Input::Live, 1.0);
    EXPECT_EQ(clock.next(kNow, kNow).time, kNow);
    EXPECT_EQ(clock.next(kNow - 10 * kSecond, kNow + 100).time, kNow + 100);
    EXPECT_EQ(clock.next(kNow - 9 * kSecond, kNow + kSecond).time, kNow + 100 + kSecond);
}

TEST(FrameClock, BeginsAnewNowWhereLiveStampsLeaveTheClock) {
    FrameClock clock(FrameClock::Input::Live, 1.0);
    clock.next(kNow, kNow);
    EXPECT_EQ(clock.next(kNow + 3600 * kSecond, kNow + 50).time, kNow + 50);
}

TEST(FrameClock, LetsFramesComeALittleOutOfOrder) {
    FrameClock clock(FrameClock::Input::Live, 1.0);
    clock.next(kNow, kNow);
    EXPECT_EQ(clock.next(kNow - 50'000, kNow).time, kNow);
    EXPECT_EQ(clock.next(kNow + 10, kNow).time, kNow + 10);
}

TEST(FrameClock, DoesNotStandStillWithStampsThatMeanNothing) {
    FrameClock clock(FrameClock::Input::Live, 1.0);
    clock.next(90'000, kNow);
    std::uint64_t latest = 0;
    for (std::uint64_t i = 0; i < 200; ++i) {
        latest = clock.next(i % 7, kNow + i * kSecond).time;
    }
    EXPECT_GT(latest, kNow + 100 * kSecond);
}

TEST(FrameClock, GivesFramesWithoutStampsATime) {
    FrameClock live(FrameClock::Input::Live, 1.0);
    EXPECT_EQ(live.next({}, kNow).time, kNow);
    FrameClock file(FrameClock::Input::File, 1.0);
    const std::uint64_t first = file.next({}, kNow).time;
    EXPECT_EQ(file.next({}, kNow).time, first + 1000);
}

}  // namespace
