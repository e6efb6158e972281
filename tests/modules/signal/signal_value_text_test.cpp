#include "modules/signal/signal_value_text.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "json/json_text.h"

namespace {

SignalData doubleSignal(const std::string& value = "12.5") {
    SignalData signal;
    signal.webappName = "Speed";
    signal.MAC = "02:00:00:00:00:01";
    signal.kslOffset = 3;
    signal.timestamp = 18446744073709551615U;
    signal.value = value;
    signal.valueType = SIGNALVALUE_DOUBLE;
    return signal;
}

std::string textOf(const SignalData& signal) {
    return std::string(klv::SignalValueText().write(signal));
}

// The same message by way of a document.
std::string throughDocument(const SignalData& signal) {
    Document doc(rapidjson::kObjectType);
    auto& allocator = doc.GetAllocator();
    Value key(rapidjson::kArrayType);
    key.PushBack(Value(signal.webappName, allocator), allocator);
    key.PushBack(Value(signal.MAC, allocator), allocator);
    doc.AddMember("response", "generic_sig_value", allocator);
    doc.AddMember("signal_key", key, allocator);
    doc.AddMember("ksl_offset", static_cast<unsigned int>(signal.kslOffset), allocator);
    doc.AddMember("timestamp", signal.timestamp, allocator);
    if (!signal.descr.empty()) {
        doc.AddMember("value_description", Value(signal.descr, allocator), allocator);
    }
    doc.AddMember("value", Value(signal.value, allocator), allocator);
    doc.AddMember("status", "OK", allocator);
    char* json = dom_to_json(&doc);
    const std::string text = json;
    std::free(json);
    return text;
}

// The message's value, as it stands in the text.
std::string writtenValue(signalValue_t type, const std::string& value) {
    SignalData signal = doubleSignal(value);
    signal.valueType = type;
    const std::string text = textOf(signal);
    const std::size_t start = text.find("\"value\": ") + 9;
    return text.substr(start, text.find(",\n    \"status\"") - start);
}

TEST(SignalValueTextTest, WritesTheWholeMessage) {
    EXPECT_EQ(textOf(doubleSignal()),
              "{\n"
              "    \"response\": \"generic_sig_value\",\n"
              "    \"signal_key\": [\n"
              "        \"Speed\",\n"
              "        \"02:00:00:00:00:01\"\n"
              "    ],\n"
              "    \"ksl_offset\": 3,\n"
              "    \"timestamp\": 18446744073709551615,\n"
              "    \"value\": 12.5,\n"
              "    \"status\": \"OK\"\n"
              "}");
}

TEST(SignalValueTextTest, WritesADescriptionBeforeTheValueWhenThereIsOne) {
    SignalData signal = doubleSignal();
    signal.descr = "driving";
    EXPECT_NE(textOf(signal).find("\"timestamp\": 18446744073709551615,\n"
                                  "    \"value_description\": \"driving\",\n"
                                  "    \"value\": 12.5,\n"),
              std::string::npos);
}

TEST(SignalValueTextTest, CanBeUsedAgainAfterHugeValues) {
    klv::SignalValueText text;
    const std::string small = textOf(doubleSignal());
    EXPECT_EQ(text.write(doubleSignal()), small);
    SignalData huge = doubleSignal(std::string(1000000, '\x01'));
    EXPECT_EQ(text.write(huge), throughDocument(huge));
    EXPECT_EQ(text.write(doubleSignal()), small);
    huge = doubleSignal(std::string(100000, '\xFF'));
    EXPECT_EQ(text.write(huge), throughDocument(huge));
    EXPECT_EQ(text.write(doubleSignal()), small);
}

TEST(SignalValueTextTest, WritesTextsLikeADocumentDoes) {
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    for (const std::string& text :
         {std::string(), std::string("plain"), std::string("longer than eight bytes, and plain"),
          std::string("say \"12345678\" and \\"), std::string("two\nlines\tand\r\f\b"),
          std::string("1234567\"89abcdef"), std::string("12345678\x1F"), std::string("\x7F"),
          std::string("Temperatur \xC3\xB6l \xC2\xB0"
                      "C \xF0\x9F\x9A\x97"),
          std::string("broken \xC3( \xFF \xED\xA0\x80"), std::string("a\0b", 3),
          std::string("</script>/"), everyByte}) {
        SignalData signal = doubleSignal();
        signal.valueType = SIGNALVALUE_STRING;
        signal.webappName = text;
        signal.MAC = "x" + text;
        signal.descr = text;
        signal.value = text + "y";
        EXPECT_EQ(textOf(signal), throughDocument(signal));
    }
}

TEST(SignalValueTextTest, FindsEveryByteThatNeedsCareAtEveryPlace) {
    for (int byte = 0; byte < 256; ++byte) {
        for (std::size_t at = 0; at < 17; ++at) {
            SignalData signal = doubleSignal();
            signal.valueType = SIGNALVALUE_STRING;
            signal.value = std::string(17, 'a');
            signal.value[at] = static_cast<char>(byte);
            ASSERT_EQ(textOf(signal), throughDocument(signal)) << byte << " at " << at;
        }
    }
}

TEST(SignalValueTextTest, WritesNumbersOfNumericTypesOnly) {
    for (const auto type :
         {SIGNALVALUE_UNSIGNED, SIGNALVALUE_SIGNED, SIGNALVALUE_FLOAT, SIGNALVALUE_DOUBLE}) {
        EXPECT_EQ(writtenValue(type, "17"), "17");
    }
    for (const auto type : {SIGNALVALUE_UNKNOWN, SIGNALVALUE_BOOL, SIGNALVALUE_STRING,
                            SIGNALVALUE_BYTES, static_cast<signalValue_t>(200)}) {
        EXPECT_EQ(writtenValue(type, "17"), "\"17\"");
    }
}

TEST(SignalValueTextTest, KeepsEveryDigitOf64Bits) {
    EXPECT_EQ(writtenValue(SIGNALVALUE_UNSIGNED, "18446744073709551615"), "18446744073709551615");
    EXPECT_EQ(writtenValue(SIGNALVALUE_SIGNED, "-9223372036854775808"), "-9223372036854775808");
    EXPECT_EQ(writtenValue(SIGNALVALUE_UNSIGNED, "9007199254740993"), "9007199254740993");
}

TEST(SignalValueTextTest, WritesWhatIsNoFiniteNumberAsText) {
    for (const std::string text : {"NaN", "Inf", "-Infinity", "1e400", "0e400", "007", "", "on",
                                   "0x10", " 1", "1 ", "1,5"}) {
        EXPECT_EQ(writtenValue(SIGNALVALUE_DOUBLE, text), "\"" + text + "\"");
    }
}

}  // namespace
