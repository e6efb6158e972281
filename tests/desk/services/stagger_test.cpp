#include "desk/services/stagger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "krpbus/address/macaddr.h"

using desk::Clock;
using desk::Stagger;
using namespace std::chrono_literals;

namespace {

const Clock::time_point kNow{12'345'678us};

std::string macWithEnd(int last) {
    return macaddr_t{{2, 0, 0, 0, 0, static_cast<std::uint8_t>(last)}}.toString();
}

TEST(Stagger, LetsBeginAtOnceWithoutAnAddress) {
    EXPECT_EQ(Stagger().begin(kNow, 1s), kNow);
}

TEST(Stagger, IsAlwaysTheSameForALogger) {
    EXPECT_EQ(Stagger("02:00:00:00:00:0A").begin(kNow, 50ms),
              Stagger("02:00:00:00:00:0a").begin(kNow, 50ms));
}

TEST(Stagger, LetsNobodyWaitLongerThanAPeriodAndThanAnEighthOfASecond) {
    for (int last = 0; last < 50; ++last) {
        const Stagger stagger(macWithEnd(last));
        for (const Clock::duration period : {10ms, 125ms, 126ms, 10'000ms}) {
            EXPECT_GE(stagger.begin(kNow, period), kNow);
            EXPECT_LT(stagger.begin(kNow, period) - kNow, std::min(period, Stagger::kLongest));
        }
    }
}

TEST(Stagger, HasTheSameMomentsWheneverALoggerIsSwitchedOn) {
    const Stagger stagger(macWithEnd(7));
    for (const Clock::duration period : {10ms, 105ms, 500ms}) {
        const auto first = stagger.begin(kNow, period);
        EXPECT_EQ(stagger.begin(first, period), first);
        EXPECT_EQ(stagger.begin(first + 5 * period - 1us, period), first + 5 * period);
    }
}

// No two of three are closer to each other than a seventh of the period, also around its end.
TEST(Stagger, KeepsLoggersApartWhoseAddressesFollowEachOther) {
    constexpr auto kPeriod = 70ms;
    for (int first = 0; first < 50; ++first) {
        std::vector<Clock::time_point> moments;
        for (int i = 0; i < 3; ++i) {
            moments.push_back(Stagger(macWithEnd(first + i)).begin(kNow, kPeriod));
        }
        std::sort(moments.begin(), moments.end());
        EXPECT_GT(moments[1] - moments[0], kPeriod / 7);
        EXPECT_GT(moments[2] - moments[1], kPeriod / 7);
        EXPECT_GT(moments[0] + kPeriod - moments[2], kPeriod / 7);
    }
}

}  // namespace
