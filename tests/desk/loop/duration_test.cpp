#include "desk/loop/duration.h"

#include <gtest/gtest.h>

using desk::durationHelp;
using desk::Milliseconds;
using desk::parseDuration;

namespace {

TEST(Duration, IsReadWithEachUnit) {
    EXPECT_EQ(parseDuration("500ms"), Milliseconds(500));
    EXPECT_EQ(parseDuration("2s"), Milliseconds(2000));
    EXPECT_EQ(parseDuration("3min"), Milliseconds(180000));
    EXPECT_EQ(parseDuration("0ms"), Milliseconds(0));
}

TEST(Duration, MayHaveDecimals) {
    EXPECT_EQ(parseDuration("1.5s"), Milliseconds(1500));
    EXPECT_EQ(parseDuration("0.25s"), Milliseconds(250));
    EXPECT_EQ(parseDuration("0.3s"), Milliseconds(300));
    EXPECT_EQ(parseDuration("1.001s"), Milliseconds(1001));
    EXPECT_EQ(parseDuration("1.9ms"), Milliseconds(1));
}

TEST(Duration, GoesUpToADay) {
    EXPECT_EQ(parseDuration("1440min"), Milliseconds(86400000));
    EXPECT_EQ(parseDuration("1441min"), std::nullopt);
    EXPECT_EQ(parseDuration("99999999999999999999999999s"), std::nullopt);
}

TEST(Duration, IsNoOtherText) {
    for (const char* const text : {"", "5", "s", "ms", "-1s", "+1s", "1 s", "1h", "1.s", ".5s",
                                   "1..5s", "1.2.3s", "1e3s", "1s ", "0x10s", "infs"}) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
}

TEST(Duration, ExplainsHowToWriteIt) {
    EXPECT_EQ(durationHelp("5"),
              "\"5\" is not a length of time; write it like 500ms, 2s or 1min, up to a day");
}

}  // namespace
