#include "desk/services/vehicle_triggers.h"

#include <gtest/gtest.h>

#include <stdexcept>

using desk::Condition;
using desk::readCondition;

namespace {

TEST(ReadCondition, ReadsEachRelation) {
    const auto holds = [](const char* text, double value) { return readCondition(text).holds(value, ""); };
    EXPECT_TRUE(holds("A.s > 80", 80.5));
    EXPECT_FALSE(holds("A.s > 80", 80));
    EXPECT_TRUE(holds("A.s>=80", 80));
    EXPECT_TRUE(holds("A.s < -1.5", -2));
    EXPECT_TRUE(holds("A.s <= 1e3", 1000));
    EXPECT_TRUE(holds("A.s == 3", 3));
    EXPECT_FALSE(holds("A.s != 3", 3));
    EXPECT_EQ(readCondition("  can1:A.s  > 80 ").signal, "can1:A.s");
    EXPECT_EQ(readCondition("  can1:A.s  > 80 ").text, "can1:A.s  > 80");
}

TEST(ReadCondition, ComparesTheTextsOfValues) {
    EXPECT_TRUE(readCondition("Gear.Lever == reverse gear").holds(7, "reverse gear"));
    EXPECT_FALSE(readCondition("Gear.Lever == reverse").holds(7, "neutral"));
    EXPECT_TRUE(readCondition("Gear.Lever != reverse").holds(7, "neutral"));
}

TEST(ReadCondition, RefusesWhatIsNone) {
    for (const char* text : {"", "A.s", "A.s >", "> 80", "A.s > fast", "A.s = 3", "A.s =< 3"}) {
        EXPECT_THROW(readCondition(text), std::invalid_argument) << text;
    }
}

}  // namespace
