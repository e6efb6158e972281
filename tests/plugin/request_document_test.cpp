// What a text frame that is no request is answered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "plugin/parse_error.h"
#include "tests/kit/answers.h"
#include "tests/plugin/frame_session.h"

namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;
using testing::StartsWith;

struct Refusal {
    std::string frame;
    std::string reason;
};

// A frame that the parser refuses, with its reason and where it stops.
Refusal syntaxError(const std::string& frame, const std::string& text, unsigned position) {
    return {frame, text + " At Position: " + std::to_string(position) + ". (" + frame + ")"};
}

std::string nested(int levels) {
    return std::string(static_cast<std::size_t>(levels), '[') +
           std::string(static_cast<std::size_t>(levels), ']');
}

/// Zeros in arrays so deep in each other.
std::string nestedZeros(std::size_t levels, int zeros) {
    std::string text(levels, '[');
    for (int i = 1; i < zeros; ++i) {
        text += "0,";
    }
    return text + "0" + std::string(levels, ']');
}

std::string deepZeros(std::size_t levels, int zeros) {
    return "{\"command\":\"nothing\",\"x\":" + nestedZeros(levels, zeros) + "}";
}

}  // namespace

class RequestDocument : public FrameSession {
  protected:
    // Expects the answer to a frame that is no request, its log line and its dump.
    void expectRefused(const Refusal& refusal, const std::string& logPrefix) {
        connection.host.clearFrames();
        capture.clear();
        deliver(refusal.frame);
        EXPECT_THAT(answers(),
                    ElementsAre(errorAnswer("undef_cmd", "invalid_command", refusal.reason)))
            << refusal.frame;
        EXPECT_EQ(capture.standardError(), refusal.frame + "\n[ERROR] KLV::wa_setup_document() " +
                                               logPrefix + refusal.reason + "\n");
    }
};

TEST_F(RequestDocument, IsRefusedWhenTheFrameIsEmpty) {
    expectRefused({"", "no data received"}, "failed to parse webapp buffer: ");
}

TEST_F(RequestDocument, IsRefusedWhenThereIsNoBuffer) {
    session.wa_handle_message(nullptr, 5);
    EXPECT_THAT(descriptions(), ElementsAre("no data received"));
}

TEST_F(RequestDocument, IsRefusedWhenTheFrameIsUndefined) {
    expectRefused({"undefined", "\"undefined\" received"}, "failed to parse webapp buffer: ");
}

TEST_F(RequestDocument, TakesALongerWordThanUndefinedForASyntaxError) {
    expectRefused(syntaxError("undefined1", "Invalid value.", 0),
                  "failed to parse webapp buffer: ");
}

TEST_F(RequestDocument, IsRefusedWhenTheObjectIsEmpty) {
    expectRefused({"{}", "{} received"}, "failed to parse webapp buffer: ");
}

TEST_F(RequestDocument, TakesAnEmptyObjectWithABlankForARequestWithoutACommand) {
    deliver("{ }");
    EXPECT_THAT(descriptions(), ElementsAre("no command name found. ({})"));
}

TEST_F(RequestDocument, NamesEachSyntaxErrorAndWhereItIs) {
    const std::vector<Refusal> refusals = {
        syntaxError("  ", "The document is empty.", 2),
        syntaxError("{} x", "The document root must not follow by other values.", 3),
        syntaxError("hello", "Invalid value.", 0),
        syntaxError("{1:2}", "Missing a name for object member.", 1),
        syntaxError("{\"a\" 1}", "Missing a colon after a name of object member.", 5),
        syntaxError("{\"a\":1 \"b\"}", "Missing a comma or '}' after an object member.", 7),
        syntaxError("[1 2]", "Missing a comma or ']' after an array element.", 3),
        syntaxError("[\"\\u12G4\"]", "Incorrect hex digit after \\u escape in string.", 2),
        syntaxError("[\"\\uD800\\u0041\"]", "The surrogate pair in string is invalid.", 2),
        syntaxError("[\"\\x\"]", "Invalid escape character in string.", 2),
        syntaxError("{\"command\":\"ping}", "Missing a closing quotation mark in string.", 17),
        syntaxError("[1e400]", "Number too big to be stored in double.", 1),
        syntaxError("[1.x]", "Miss fraction part in number.", 3),
        syntaxError("[1ex]", "Miss exponent in number.", 3),
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.frame);
        expectRefused(refusal, "failed to parse webapp buffer: ");
    }
}

TEST_F(RequestDocument, ShowsTheFrameAsItWasReceivedAlthoughParsingChangesIt) {
    const std::string frame = "{\"a\":\"\\u0041\\n\",}";
    expectRefused(syntaxError(frame, "Missing a name for object member.", 16),
                  "failed to parse webapp buffer: ");
}

TEST_F(RequestDocument, IsRefusedWhenTheRootIsNoObject) {
    for (const char* frame : {"[{\"command\":\"ping\"}]", "\"ping\"", "5", "null", "true"}) {
        SCOPED_TRACE(frame);
        expectRefused({frame, std::string("failed to parse webapp buffer, no object available. (") +
                                  frame + ")"},
                      "");
    }
}

TEST_F(RequestDocument, EndsAtAZeroByteWhileItsTextIsShownWhole) {
    using namespace std::string_literals;
    expectRefused(
        syntaxError("{\"a\":\"b\0c\"}"s, "Missing a closing quotation mark in string.", 7),
        "failed to parse webapp buffer: ");
    expectRefused({"undefined\0 and more"s, "\"undefined\" received"},
                  "failed to parse webapp buffer: ");
    expectRefused({"{}\0"s, "{} received"}, "failed to parse webapp buffer: ");
    expectRefused(syntaxError("\0"s, "The document is empty.", 0),
                  "failed to parse webapp buffer: ");
}

TEST_F(RequestDocument, IsParsedUpToAZeroByte) {
    using namespace std::string_literals;
    deliver("{\"command\":\"nothing\"}\0garbage"s);
    EXPECT_THAT(answers(), ElementsAre(testing::HasSubstr("\"response\":\"nothing\"")));
}

TEST_F(RequestDocument, NeedsNoZeroByteBehindTheFrame) {
    const std::string frame = "{\"command\":\"nothing\"}";
    const auto exact = std::make_unique<unsigned char[]>(frame.size());
    std::copy(frame.begin(), frame.end(), exact.get());
    session.wa_handle_message(exact.get(), static_cast<unsigned>(frame.size()));
    EXPECT_THAT(answers(), ElementsAre(testing::HasSubstr("\"response\":\"nothing\"")));
}

TEST_F(RequestDocument, ReadsNoFurtherThanTheFrame) {
    session.wa_handle_message(reinterpret_cast<const unsigned char*>("{}}}}"), 2);
    EXPECT_THAT(descriptions(), ElementsAre("{} received"));
}

TEST_F(RequestDocument, LeavesTheHostsBufferAsItWas) {
    std::string frame = "{\"command\":\"n\\u0041\",\"x\":\"\\n\"}";
    const std::string before = frame;
    deliver(frame);
    EXPECT_EQ(frame, before);
}

TEST_F(RequestDocument, MayNestThirtyTwoLevels) {
    deliver("{\"command\":\"nothing\",\"x\":" + nested(31) + "}");
    EXPECT_THAT(answers(), ElementsAre(StartsWith("{\"response\":\"nothing\"")));
}

TEST_F(RequestDocument, IsRefusedBeforeParsingWhenItNestsDeeper) {
    const std::string kReason = "arrays and objects are nested deeper than 32 levels";
    expectRefused({"{\"command\":\"nothing\",\"x\":" + nested(32) + "}", kReason},
                  "failed to parse webapp buffer: ");
    expectRefused({std::string(100000, '['), kReason}, "failed to parse webapp buffer: ");
    std::string objects;
    for (int level = 0; level < 100000; ++level) {
        objects += "{\"a\":";
    }
    expectRefused({objects, kReason}, "failed to parse webapp buffer: ");
}

TEST_F(RequestDocument, IsRefusedWhenQuotingItWouldTakeFarMoreRoomThanItsFrame) {
    const std::string kReason =
        "written out with a line for each value the request is longer than 1048576 bytes and 16 "
        "times its frame";
    expectRefused({deepZeros(31, 10'000), kReason}, "failed to parse webapp buffer: ");
    // Without a command it would be quoted at once.
    expectRefused({"{\"x\":" + nestedZeros(31, 40'000) + "}", kReason},
                  "failed to parse webapp buffer: ");
}

TEST_F(RequestDocument, MayBeQuotedWithAMebibyteOrSixteenTimesItsFrame) {
    // Quoted with 131 bytes for each zero.
    deliver(deepZeros(31, 7900));
    // With 23, which is below 16 times the two of the frame.
    deliver(deepZeros(4, 100'000));
    EXPECT_THAT(answers(), ElementsAre(StartsWith("{\"response\":\"nothing\""),
                                       StartsWith("{\"response\":\"nothing\"")));
}

TEST_F(RequestDocument, KeepsTheTextForARootThatIsNoObjectHoweverDeepItIs) {
    const std::string frame = nestedZeros(31, 40'000);
    expectRefused({frame, "failed to parse webapp buffer, no object available. (" + frame + ")"},
                  "");
}

TEST_F(RequestDocument, MayHoldAnyNumberOfBracketsInStringsAndBesideEachOther) {
    const std::string brackets(2000, '[');
    std::string beside = "[]";
    for (int i = 0; i < 2000; ++i) {
        beside += ",[]";
    }
    deliver("{\"command\":\"nothing\",\"x\":\"\\\"" + brackets + "\\\\\",\"y\":[" + beside + "]}");
    EXPECT_THAT(answers(), ElementsAre(StartsWith("{\"response\":\"nothing\"")));
}

TEST_F(RequestDocument, AnswersIllFormedTextWithWellFormedText) {
    deliver("caf\xE9");
    EXPECT_THAT(descriptions(), ElementsAre("Invalid value. At Position: 0. (caf\xEF\xBF\xBD)"));
}

TEST(ParseError, HasAnEnglishTextForEachCode) {
    const Lines expected = {
        "No error.",
        "The document is empty.",
        "The document root must not follow by other values.",
        "Invalid value.",
        "Missing a name for object member.",
        "Missing a colon after a name of object member.",
        "Missing a comma or '}' after an object member.",
        "Missing a comma or ']' after an array element.",
        "Incorrect hex digit after \\u escape in string.",
        "The surrogate pair in string is invalid.",
        "Invalid escape character in string.",
        "Missing a closing quotation mark in string.",
        "Invalid encoding in string.",
        "Number too big to be stored in double.",
        "Miss fraction part in number.",
        "Miss exponent in number.",
        "Terminate parsing due to Handler error.",
        "Unspecific syntax error.",
        "Unknown error.",
    };
    Lines actual;
    for (int code = 0; code <= 18; ++code) {
        actual.emplace_back(klv::parseErrorText(code));
    }
    EXPECT_EQ(actual, expected);
    EXPECT_STREQ(klv::parseErrorText(-1), "Unknown error.");
}
