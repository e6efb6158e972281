#include "desk/services/device_type.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>

using desk::deviceTypes;
using desk::findDeviceType;

namespace {

std::pair<int, int> numbersOf(std::string_view name) {
    const auto type = findDeviceType(name);
    return type ? std::pair<int, int>(type->deviceClass, type->subType) : std::pair(-1, -1);
}

TEST(DeviceType, HasTheNumbersThatTheNameIsShownFor) {
    EXPECT_EQ(numbersOf("Stratolog2").first, 1);
    EXPECT_EQ(numbersOf("Handheld Control Unit"), std::pair(16, 21));
    EXPECT_EQ(numbersOf("Stratolog Relay"), std::pair(16, 22));
    EXPECT_EQ(numbersOf("Stratolog Bus Recorder"), std::pair(112, 113));
    EXPECT_EQ(numbersOf("unknown").first, 0);
}

TEST(DeviceType, KeepsPocketAndSprintApartFromTheOthersOfTheirClass) {
    EXPECT_EQ(numbersOf("Stratolog Pocket").first, 16);
    EXPECT_EQ((std::set{21, 22}.count(numbersOf("Stratolog Pocket").second)), 0U);
    EXPECT_EQ(numbersOf("Stratolog Sprint").first, 112);
    EXPECT_NE(numbersOf("Stratolog Sprint").second, 113);
}

TEST(DeviceType, IsFoundWhateverTheLetterCaseAndTheBlanks) {
    for (const char* const name :
         {"handheld control unit", "HANDHELD-CONTROL-UNIT", "handheld_controlunit"}) {
        EXPECT_EQ(numbersOf(name), std::pair(16, 21)) << name;
    }
}

TEST(DeviceType, IsNotFoundForAnotherName) {
    EXPECT_FALSE(findDeviceType(""));
    EXPECT_FALSE(findDeviceType("Strato"));
    EXPECT_FALSE(findDeviceType("Stratolog 22"));
}

TEST(DeviceType, HasOneEntryPerName) {
    std::set<std::string_view> names;
    for (const auto& type : deviceTypes()) {
        EXPECT_TRUE(names.insert(type.name).second) << type.name;
    }
    EXPECT_EQ(names.size(), 7U);
}

}  // namespace
