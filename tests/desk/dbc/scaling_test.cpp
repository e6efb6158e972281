#include "desk/dbc/scaling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using dbc::readDecimal;
using dbc::Scaling;
using dbc::shortestText;

namespace {

TEST(ReadDecimal, ReadsNumbersExactly) {
    const auto expect = [](const char* text, std::int64_t mantissa, int digits) {
        const auto decimal = readDecimal(text);
        ASSERT_TRUE(decimal) << text;
        EXPECT_EQ(decimal->mantissa, mantissa) << text;
        EXPECT_EQ(decimal->digits, digits) << text;
    };
    expect("1", 1, 0);
    expect("-0.25", -25, 2);
    expect("+.25", 25, 2);
    expect("2.", 2, 0);
    expect("5e-06", 5, 6);
    expect("1.8E+018", 1800000000000000000, 0);
    expect("1.500", 15, 1);
    expect("0.000", 0, 0);
    expect("0e-400", 0, 0);
    expect("120e-1", 12, 0);
}

TEST(ReadDecimal, RefusesWhatItCannotHoldOrRead) {
    for (const char* text : {"", "-", ".", "1.8E+019", "1e", "e5", "1.2.3", "0x10", "1 ", "1e-19",
                             "12345678901234567890", "1e999999999999"}) {
        EXPECT_FALSE(readDecimal(text)) << text;
    }
}

TEST(Scaling, GivesTheDigitsThatFactorAndOffsetCanMake) {
    const auto expect = [](const char* factor, const char* offset, std::int64_t raw,
                           const char* text) {
        EXPECT_EQ(Scaling(factor, offset).text(raw), text) << factor << " " << offset;
    };
    expect("1", "0", 291, "291");
    expect("0.1", "-40", 523, "12.3");
    expect("0.1", "-40", 0, "-40.0");
    expect("0.1", "0.05", 1, "0.15");
    expect("0.01", "0", -5, "-0.05");
    expect(".25", "0", 3, "0.75");
    expect("5e-06", "0", 3, "0.000015");
    expect("0.0078125", "-250", 32000, "0.0000000");
    expect("-1", "100", 30, "70");
    expect("100", "0", 7, "700");
    expect("0.1", "0", 0, "0.0");
    expect("1e3", "0.5", 2, "2000.5");
    expect("0", "7", 3, "7");
}

TEST(Scaling, KeepsAll64BitsOfUnscaledValues) {
    EXPECT_EQ(Scaling().text(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(Scaling().text(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(Scaling("0.1", "0").text(std::int64_t{9007199254740993}), "900719925474099.3");
}

TEST(Scaling, GivesTheNearestNumberWhereWholeNumbersOverflow) {
    EXPECT_EQ(Scaling("1000", "0").text(std::numeric_limits<std::int64_t>::max()),
              "9.223372036854776e+21");
    EXPECT_EQ(Scaling("1.8E+019", "0").text(std::int64_t{2}), "3.6e+19");
    EXPECT_EQ(Scaling("2", "0").text(std::numeric_limits<std::uint64_t>::max()),
              "36893488147419103232");
}

TEST(Scaling, TakesTextsThatAreNoNumbersForNone) {
    const Scaling scaling("-", "+-");
    EXPECT_EQ(scaling.factor(), 1.0);
    EXPECT_EQ(scaling.offset(), 0.0);
    EXPECT_EQ(scaling.text(std::int64_t{5}), "5");
}

TEST(ShortestText, ReadsAsTheSameNumber) {
    EXPECT_EQ(shortestText(0.1), "0.1");
    EXPECT_EQ(shortestText(0.1F), "0.1");
    EXPECT_EQ(shortestText(-2.5), "-2.5");
    EXPECT_EQ(shortestText(1e20), "1e+20");
    EXPECT_EQ(shortestText(std::nan("")), "NaN");
    EXPECT_EQ(shortestText(-std::numeric_limits<float>::infinity()), "-Inf");
    EXPECT_EQ(shortestText(std::numeric_limits<double>::infinity()), "Inf");
}

}  // namespace
