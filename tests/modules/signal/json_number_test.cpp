#include "modules/signal/json_number.h"

#include <gtest/gtest.h>

#include <string>

#include "json/document.h"

namespace {

TEST(IsFiniteJsonNumber, AcceptsExactlyTheNumbersOfJson) {
    for (const char* text :
         {"0", "-0", "7", "-7", "10", "0.5", "-0.5", "1.25", "1e5", "1E5", "1e+5", "1e-5", "1.5e05",
          "0e0", "18446744073709551616", "123456789012345678901234567890"}) {
        EXPECT_TRUE(klv::isFiniteJsonNumber(text)) << text;
    }
    for (const char* text :
         {"",         "-",         "+1",   "00",   "01",  "-01",     "007",   ".5",    "5.",
          "-.5",      "1.e5",      "1e",   "1e+",  "e5",  "1.5.5",   "1e5e5", "1e5.5", "--1",
          "0x1",      "1f",        "1 ",   " 1",   "1\n", "NaN",     "nan",   "Inf",   "inf",
          "Infinity", "-Infinity", "true", "null", "1,5", "\xD9\xA1"}) {
        EXPECT_FALSE(klv::isFiniteJsonNumber(text)) << text;
    }
    EXPECT_FALSE(klv::isFiniteJsonNumber(std::string_view("1\0", 2)));
}

TEST(IsFiniteJsonNumber, RefusesWhatNoDoubleHolds) {
    EXPECT_TRUE(klv::isFiniteJsonNumber("1.7976931348623157e308"));
    EXPECT_TRUE(klv::isFiniteJsonNumber("-1.7976931348623157E+308"));
    EXPECT_FALSE(klv::isFiniteJsonNumber("1.8e308"));
    EXPECT_FALSE(klv::isFiniteJsonNumber("-1.8e308"));
    EXPECT_FALSE(klv::isFiniteJsonNumber("1e400"));
    EXPECT_FALSE(klv::isFiniteJsonNumber("1e99999999999999999999"));
    EXPECT_FALSE(klv::isFiniteJsonNumber("0.0001e400"));
    EXPECT_FALSE(klv::isFiniteJsonNumber(std::string(310, '9')));
    EXPECT_TRUE(klv::isFiniteJsonNumber(std::string(308, '9')));
    EXPECT_FALSE(klv::isFiniteJsonNumber("1" + std::string(400, '0') + "e-10"));
}

TEST(IsFiniteJsonNumber, RefusesWhatTheJsonLibraryRefuses) {
    for (const std::string& text :
         {std::string("0e400"), std::string("0e309"), std::string("-0E+309"),
          std::string("0.00e+400"), std::string("0e99999999999999999999"),
          "1" + std::string(400, '0') + "e-200"}) {
        EXPECT_FALSE(klv::isFiniteJsonNumber(text)) << text;
        Document doc;
        EXPECT_TRUE(doc.Parse(text.c_str()).HasParseError()) << text;
    }
    for (const char* text : {"0e308", "0.00e+310", "0e-400", "1e308"}) {
        EXPECT_TRUE(klv::isFiniteJsonNumber(text)) << text;
        Document doc;
        EXPECT_FALSE(doc.Parse(text).HasParseError()) << text;
    }
}

TEST(IsFiniteJsonNumber, AcceptsWhatIsTooCloseToZeroForADouble) {
    EXPECT_TRUE(klv::isFiniteJsonNumber("1e-400"));
    EXPECT_TRUE(klv::isFiniteJsonNumber("-1e-400"));
    EXPECT_TRUE(klv::isFiniteJsonNumber("1e-99999999999999999999"));
    EXPECT_TRUE(klv::isFiniteJsonNumber("1000e-400"));
    EXPECT_TRUE(klv::isFiniteJsonNumber("0." + std::string(400, '0') + "1"));
    EXPECT_TRUE(klv::isFiniteJsonNumber("0." + std::string(800, '0') + "1e400"));
    EXPECT_FALSE(klv::isFiniteJsonNumber("0." + std::string(10, '0') + "1e800"));
}

}  // namespace
