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

std::string macWithEnd(int last) {
    return macaddr_t{{2, 0, 0, 0, 0, static_cast<std::uint8_t>(last)}}.toString();
}

TEST(Stagger, IsNoneWithoutAnAddress) {
    EXPECT_EQ(Stagger().of(1s), 0ms);
}

TEST(Stagger, IsAlwaysTheSameForALogger) {
    EXPECT_EQ(Stagger("02:00:00:00:00:0A").of(50ms), Stagger("02:00:00:00:00:0a").of(50ms));
}

TEST(Stagger, IsLessThanThePeriodAndThanATenthOfASecond) {
    for (int last = 0; last < 50; ++last) {
        const Stagger stagger(macWithEnd(last));
        EXPECT_GE(stagger.of(10ms), 0ms);
        EXPECT_LT(stagger.of(10ms), 10ms);
        EXPECT_LT(stagger.of(10s), Stagger::kLongest);
    }
}

// No two of three are closer to each other than a seventh of the period, also around its end.
TEST(Stagger, KeepsLoggersApartWhoseAddressesFollowEachOther) {
    constexpr auto kPeriod = 70ms;
    for (int first = 0; first < 50; ++first) {
        std::vector<Clock::duration> delays;
        for (int i = 0; i < 3; ++i) {
            delays.push_back(Stagger(macWithEnd(first + i)).of(kPeriod));
        }
        std::sort(delays.begin(), delays.end());
        EXPECT_GT(delays[1] - delays[0], kPeriod / 7);
        EXPECT_GT(delays[2] - delays[1], kPeriod / 7);
        EXPECT_GT(delays[0] + kPeriod - delays[2], kPeriod / 7);
    }
}

}  // namespace
