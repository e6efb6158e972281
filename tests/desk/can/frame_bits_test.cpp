#include "desk/can/frame_bits.h"

#include <gtest/gtest.h>

#include <string>

#include "desk/can/candump_line.h"
#include "desk/can/load_meter.h"

using desk::can::bitsOf;
using desk::can::BitRate;
using desk::can::Frame;
using desk::can::FrameBits;
using desk::can::LoadMeter;
using desk::can::readCandumpLine;

namespace {

Frame frameOf(const std::string& text) {
    std::string line = "(0.0) can0 " + text;
    return readCandumpLine(line).frame;
}

std::uint32_t bits(const std::string& text) {
    return bitsOf(frameOf(text)).nominal;
}

TEST(FrameBitsOf, CountsClassicFramesExactly) {
    EXPECT_EQ(bits("123#"), 48U);
    EXPECT_EQ(bits("123#0102"), 67U);
    EXPECT_EQ(bits("000#0000000000000000"), 127U);
    EXPECT_EQ(bits("7FF#FFFFFFFFFFFFFFFF"), 126U);
    EXPECT_EQ(bits("7FF#0102030405060708"), 121U);
    EXPECT_EQ(bits("12345678#R"), 69U);
    EXPECT_EQ(bits("00000123#01"), 80U);
    EXPECT_EQ(bits("123#R8"), 48U);
    EXPECT_EQ(bits("20000004#0004000000000000"), 0U);
}

// Each between the fields' lengths and those with as many stuff bits as there can be.
TEST(FrameBitsOf, CountsFdFramesWithinTheirBounds) {
    for (const std::uint32_t size : {0U, 8U, 16U, 20U, 64U}) {
        for (const bool isExtended : {false, true}) {
            for (const char* byte : {"55", "00", "F8"}) {
                std::string text = isExtended ? "12345678##0" : "123##0";
                for (std::uint32_t i = 0; i < size; ++i) {
                    text += byte;
                }
                const std::uint32_t header = (isExtended ? 41 : 22) + 8 * size;
                const std::uint32_t least = header + (size <= 16 ? 28 : 33) + 12;
                EXPECT_GE(bits(text), least) << text;
                EXPECT_LE(bits(text), least + (header - 1) / 4) << text;
            }
        }
    }
    EXPECT_EQ(bits("2AA##05555555555555555"), 62U + 64U);
}

TEST(FrameBitsOf, TellsTheFastPartOfFdFrames) {
    const FrameBits both = bitsOf(frameOf("2AA##15555555555555555"));
    EXPECT_EQ(both.nominal + both.fast, 62U + 64U);
    EXPECT_EQ(both.fast, 1U + 4U + 64U + 27U);
    EXPECT_EQ(bitsOf(frameOf("2AA##0" + std::string(40, '5'))).nominal, 67U + 160U);
}

TEST(FrameBitsOf, PadsFdFramesToALengthThatThereIs) {
    EXPECT_EQ(bits("2AA##0" + std::string(18, '5')), bits("2AA##0" + std::string(18, '5') + "000000"));
}

Frame at(std::uint64_t time, const std::string& text) {
    Frame frame = frameOf(text);
    frame.time = time;
    return frame;
}

TEST(LoadMeter, GivesTheShareOfTheLastSecond) {
    LoadMeter meter(BitRate{500'000, 2'000'000, false});
    for (std::uint64_t time = 0; time < 3'000'000; time += 1000) {
        meter.add(at(time, "000#0000000000000000"));
    }
    EXPECT_NEAR(meter.percent(3'000'000), 25.4, 0.01);
    EXPECT_NEAR(meter.percent(3'500'000), 12.7, 0.2);
    EXPECT_EQ(meter.percent(4'200'000), 0.0);
}

TEST(LoadMeter, IsNeverAboveAHundred) {
    LoadMeter meter(BitRate{10'000, 10'000, false});
    for (std::uint64_t time = 0; time < 2'000'000; time += 1000) {
        meter.add(at(time, "000#0000000000000000"));
    }
    EXPECT_EQ(meter.percent(2'000'000), 100.0);
}

TEST(LoadMeter, TakesWhatIsPlayedQuickerForWhatItWas) {
    LoadMeter meter(BitRate{}, 4.0);
    for (std::uint64_t time = 0; time < 2'000'000; time += 250) {
        meter.add(at(time, "000#0000000000000000"));
    }
    EXPECT_NEAR(meter.percent(2'000'000), 25.4, 0.01);
}

TEST(LoadMeter, UsesBothBitRates) {
    LoadMeter meter(BitRate{500'000, 5'000'000, true});
    for (std::uint64_t time = 0; time < 2'000'000; time += 1000) {
        meter.add(at(time, "2AA##15555555555555555"));
    }
    EXPECT_NEAR(meter.percent(2'000'000), (30 / 500.0 + 96 / 5000.0) * 100, 0.01);
}

TEST(LoadMeter, ForgetsAnotherTime) {
    LoadMeter meter(BitRate{});
    meter.add(at(9'000'000'000, "123#"));
    meter.add(at(5'000, "000#0000000000000000"));
    EXPECT_NEAR(meter.percent(500'000), 127 / 5000.0, 0.001);
}

}  // namespace
