#include "network/logger_type.h"

#include <gtest/gtest.h>

TEST(GetLoggerType, NamesClasses1And6WhateverTheSubType) {
    for (const unsigned int deviceClass : {1U, 6U}) {
        for (const unsigned int subType : {0U, 21U, 22U, 113U, 255U}) {
            EXPECT_EQ(getLoggerType(deviceClass, subType), "Stratolog2");
        }
    }
}

TEST(GetLoggerType, NamesClass16BySubType) {
    EXPECT_EQ(getLoggerType(16, 21), "Handheld Control Unit");
    EXPECT_EQ(getLoggerType(16, 22), "Stratolog Relay");
    EXPECT_EQ(getLoggerType(16, 0), "Stratolog Pocket");
    EXPECT_EQ(getLoggerType(16, 23), "Stratolog Pocket");
    EXPECT_EQ(getLoggerType(16, 113), "Stratolog Pocket");
}

TEST(GetLoggerType, NamesClass112BySubType) {
    EXPECT_EQ(getLoggerType(112, 113), "Stratolog Bus Recorder");
    EXPECT_EQ(getLoggerType(112, 112), "Stratolog Sprint");
    EXPECT_EQ(getLoggerType(112, 0), "Stratolog Sprint");
    EXPECT_EQ(getLoggerType(112, 21), "Stratolog Sprint");
}

TEST(GetLoggerType, CallsEveryOtherClassUnknown) {
    for (unsigned int deviceClass = 0; deviceClass < 256; ++deviceClass) {
        if (deviceClass != 1 && deviceClass != 6 && deviceClass != 16 && deviceClass != 112) {
            EXPECT_EQ(getLoggerType(deviceClass, 21), "unknown") << deviceClass;
            EXPECT_EQ(getLoggerType(deviceClass, 113), "unknown") << deviceClass;
        }
    }
}

TEST(IsHandheldControlUnit, IsTrueForClass16SubType21Alone) {
    EXPECT_TRUE(isHandheldControlUnit(16, 21));
    EXPECT_FALSE(isHandheldControlUnit(16, 22));
    EXPECT_FALSE(isHandheldControlUnit(1, 21));
    EXPECT_FALSE(isHandheldControlUnit(0, 0));
}
