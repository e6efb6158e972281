#include "json/json_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

#include "tests/kit/log_capture.h"

namespace {

std::string write(const Document& doc) {
    const std::unique_ptr<char, decltype(&std::free)> text(dom_to_json(&doc), &std::free);
    return text ? text.get() : "(null)";
}

Document parsed(const char* text) {
    Document doc;
    doc.Parse(text);
    return doc;
}

}  // namespace

TEST(DomToJson, IndentsByFourBlanksAndEndsWithoutALineEnd) {
    EXPECT_EQ(write(parsed(R"({"a":1,"b":[true,null],"c":{},"d":[]})")),
              "{\n    \"a\": 1,\n    \"b\": [\n        true,\n        null\n    ],\n"
              "    \"c\": {},\n    \"d\": []\n}");
}

TEST(DomToJson, EscapesWhatAStringMayNotHold) {
    Document doc(rapidjson::kArrayType);
    doc.PushBack(Value(std::string("\"\\\n\x01/\0x", 7), doc.GetAllocator()), doc.GetAllocator());
    EXPECT_EQ(write(doc), "[\n    \"\\\"\\\\\\n\\u0001/\\u0000x\"\n]");
}

TEST(DomToJson, KeepsWellFormedTextAsItIs) {
    Document doc(rapidjson::kObjectType);
    doc.AddMember("K\xC3\xA4se", "\xE2\x82\xAC \xF0\x9F\x98\x80", doc.GetAllocator());
    EXPECT_EQ(write(doc), "{\n    \"K\xC3\xA4se\": \"\xE2\x82\xAC \xF0\x9F\x98\x80\"\n}");
}

TEST(DomToJson, ReplacesIllFormedBytesInValuesAndNames) {
    Document doc(rapidjson::kObjectType);
    doc.AddMember("n\xFFm", "caf\xE9 au lait", doc.GetAllocator());
    EXPECT_EQ(write(doc), "{\n    \"n\xEF\xBF\xBDm\": \"caf\xEF\xBF\xBD au lait\"\n}");
}

TEST(DomToJson, WritesNumbersThatAreNotFiniteAsText) {
    using Limits = std::numeric_limits<double>;
    Document doc(rapidjson::kArrayType);
    for (const double number : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity()}) {
        doc.PushBack(number, doc.GetAllocator());
    }
    EXPECT_EQ(write(doc), "[\n    \"NaN\",\n    \"Infinity\",\n    \"-Infinity\"\n]");
}

TEST(DomToJson, WritesIntegersOf64BitsExactly) {
    EXPECT_EQ(write(parsed("[18446744073709551615,-9223372036854775808,2.5]")),
              "[\n    18446744073709551615,\n    -9223372036854775808,\n    2.5\n]");
}

TEST(DomToJson, YieldsNothingAndLogsThatWithoutADocument) {
    const LogCapture capture;
    EXPECT_EQ(dom_to_json(nullptr), nullptr);
    EXPECT_EQ(capture.standardOutput(),
              "[ERROR] KLV::dom_to_json() failed to write webapp buffer: \n");
}

TEST(DomToString, GivesTheSameTextAndLogsIt) {
    const LogCapture capture;
    EXPECT_EQ(dom_to_string(std::make_unique<Document>(parsed(R"({"a":"b"})")).get()),
              "{\n    \"a\": \"b\"\n}");
    EXPECT_EQ(capture.standardOutput(),
              "[DEBUG] KLV::dom_to_string() json_str: {\n    \"a\": \"b\"\n}\n");
}

TEST(DomToString, IsEmptyWhenNothingCanBeWritten) {
    const LogCapture capture;
    EXPECT_EQ(dom_to_string(nullptr), "");
    EXPECT_EQ(capture.standardOutput(),
              "[ERROR] KLV::dom_to_json() failed to write webapp buffer: \n"
              "[DEBUG] KLV::dom_to_string() json_str: \n");
}
