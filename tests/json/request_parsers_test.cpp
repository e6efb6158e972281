#include "json/request_parsers.h"
#include "json/request_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "tests/kit/answers.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"

namespace {

using Lines = std::vector<std::string>;

// A request, and what its parsers log and answer.
class RequestParsers : public testing::Test {
  protected:
    void request(const std::string& text) {
        doc_.Parse(text.c_str());
        ASSERT_TRUE(doc_.IsObject());
    }
    // Expects one answer, an invalid command, under this name.
    void expectAnswer(const std::string& response, const std::string& text) const {
        EXPECT_THAT(session_.sent(),
                    testing::ElementsAre(errorAnswer(response, "invalid_command", text)));
    }
    // The log's lines hold texts of several lines; this is whether one piece of text is in it.
    bool logged(const std::string& text) const {
        return capture_.standardOutput().find(text + "\n") != std::string::npos;
    }

    // Expects that the parser of a number leaves the value alone, returns this, and answers that.
    template <class Number>
    void expectRefused(int (*parse)(const std::string&, Number&, const Document*),
                       const std::string& name, const std::string& text, int returned,
                       const std::string& response, const std::string& answer) {
        session_.host.clearFrames();
        request(text);
        Number value = 7;
        EXPECT_EQ(parse(name, value, &doc_), returned) << text;
        EXPECT_EQ(value, Number{7}) << text;
        expectAnswer(response, answer);
    }
    // The same for a member of the wrong type: {"command":"c","n":<json>}.
    template <class Number>
    void expectWrongType(int (*parse)(const std::string&, Number&, const Document*),
                         const std::string& type, const std::string& json,
                         const std::string& told) {
        expectRefused(parse, "n", R"({"command":"c","n":)" + json + "}", -1, "c",
                      "value of 'n' must be a " + type + " .  You send a " + told +
                          " . ({\n    \"command\": \"c\",\n    \"n\": " + json + "\n})");
    }

    WorkerSession session_;
    LogCapture capture_;
    Document doc_;
};

}  // namespace

TEST_F(RequestParsers, ParseCommandReadsAString) {
    request(R"({"command":"ping"})");
    std::string cmd;
    EXPECT_EQ(parseCommand(cmd, &doc_), 0);
    EXPECT_EQ(cmd, "ping");
    EXPECT_TRUE(session_.host.frames().empty());
    EXPECT_EQ(capture_.standardOutput(), "");
}

TEST_F(RequestParsers, ParseCommandStopsAtAZeroByte) {
    request(R"({"command":"ping\u0000pong"})");
    std::string cmd;
    EXPECT_EQ(parseCommand(cmd, &doc_), 0);
    EXPECT_EQ(cmd, "ping");
}

TEST_F(RequestParsers, ParseCommandTakesTheFirstOfTwoMembers) {
    request(R"({"Command":"x","command":"first","command":"second"})");
    std::string cmd;
    EXPECT_EQ(parseCommand(cmd, &doc_), 0);
    EXPECT_EQ(cmd, "first");
}

TEST_F(RequestParsers, ParseCommandAnswersUndefCmdWhenTheMemberIsMissing) {
    request(R"({"COMMAND":"ping"})");
    std::string cmd = "kept";
    EXPECT_EQ(parseCommand(cmd, &doc_), -2);
    EXPECT_EQ(cmd, "kept");
    expectAnswer("undef_cmd", "no command name found. ({\n    \"COMMAND\": \"ping\"\n})");
    EXPECT_TRUE(
        logged("[ERROR] KLV::parseCommand() failed to parse webapp command "
               "{\n    \"COMMAND\": \"ping\"\n}"));
}

TEST_F(RequestParsers, ParseCommandAnswersOnceWhenTheMemberIsNoString) {
    request(R"({"command":5})");
    std::string cmd;
    EXPECT_EQ(parseCommand(cmd, &doc_), -1);
    const std::string text =
        "value of 'command' must be a string .  You send a Number. IsUint32: 1. IsDouble: 0 . "
        "({\n    \"command\": 5\n})";
    expectAnswer("undef_cmd", text);
    EXPECT_TRUE(logged("[ERROR] KLV::createAndSendJSON_parsingError() " + text));
}

TEST_F(RequestParsers, ParseStringReadsAStringUpToAZeroByte) {
    request(R"({"command":"c","name":"abc\u0000def"})");
    std::string value = "old";
    EXPECT_EQ(parseString("name", value, &doc_, false), 0);
    EXPECT_EQ(value, "abc");
    EXPECT_TRUE(session_.host.frames().empty());
}

TEST_F(RequestParsers, ParseStringReportsAnotherType) {
    request(R"({"command":"c","name":null})");
    std::string value = "old";
    EXPECT_EQ(parseString("name", value, &doc_, true), -1);
    EXPECT_EQ(value, "");
    expectAnswer("c",
                 "value of 'name' must be a string .  You send a Null. . "
                 "({\n    \"command\": \"c\",\n    \"name\": null\n})");
}

TEST_F(RequestParsers, ParseStringIsSilentAboutAnOptionalMember) {
    request(R"({"command":"c"})");
    std::string value = "old";
    EXPECT_EQ(parseString("name", value, &doc_, true), -2);
    EXPECT_EQ(value, "");
    EXPECT_TRUE(session_.host.frames().empty());
    EXPECT_EQ(capture_.standardOutput(), "");
}

TEST_F(RequestParsers, ParseStringAnswersWhenTheMemberIsMissing) {
    request(R"({"command":"c"})");
    std::string value = "old";
    EXPECT_EQ(parseString("name", value, &doc_, false), -2);
    EXPECT_EQ(value, "");
    expectAnswer("c", "no entry for 'name'. ({\n    \"command\": \"c\"\n})");
    EXPECT_TRUE(
        logged("[ERROR] KLV::parseString() failed to parse webapp command "
               "{\n    \"command\": \"c\"\n}: no entry for name"));
}

TEST_F(RequestParsers, ParseStringLeavesARequestWithoutACommandToParseCommand) {
    request(R"({"a":1})");
    std::string value;
    EXPECT_EQ(parseString("name", value, &doc_, false), -2);
    expectAnswer("undef_cmd", "no command name found. ({\n    \"a\": 1\n})");
}

TEST_F(RequestParsers, ParseStringRefusesToReadTheCommand) {
    request(R"({"command":"c"})");
    std::string value = "old";
    EXPECT_EQ(parseString("command", value, &doc_, true), -3);
    EXPECT_EQ(value, "");
    expectAnswer("c",
                 "deprecated: use parseCommand() to parse webapp command name. "
                 "({\n    \"command\": \"c\"\n})");
    EXPECT_TRUE(
        logged("[ERROR] KLV::parseString() deprecated: use parseCommand() to parse webapp "
               "command name: {\n    \"command\": \"c\"\n}"));
}

TEST_F(RequestParsers, ParseStringRefusesToReadAMissingCommand) {
    request(R"({"a":1})");
    std::string value;
    EXPECT_EQ(parseString("command", value, &doc_, false), -3);
    expectAnswer("undef_cmd", "no command name found. ({\n    \"a\": 1\n})");
}

TEST_F(RequestParsers, ParseUintReadsTheWholeRange) {
    request(R"({"command":"c","low":0,"high":4294967295})");
    unsigned value = 7;
    EXPECT_EQ(parseUint("low", value, &doc_), 0);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(parseUint("high", value, &doc_), 0);
    EXPECT_EQ(value, 4294967295U);
    EXPECT_TRUE(session_.host.frames().empty());
}

TEST_F(RequestParsers, ParseUintReportsWhatIsNoUnsignedNumberOf32Bits) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"-1", "Number. IsUint32: 0. IsDouble: 0"},
        {"4294967296", "Number. IsUint32: 0. IsDouble: 0"},
        {"1.0", "Number. IsUint32: 0. IsDouble: 1"},
        {"null", "Null."},
        {"false", "False."},
        {"true", "True."},
        {"{}", "Object."},
        {"[]", "Array."},
        {"\"5\"", "String."},
    };
    for (const auto& [json, told] : cases) {
        expectWrongType(parseUint, "uint32", json, told);
    }
    EXPECT_TRUE(
        logged("[ERROR] KLV::createAndSendJSON_parsingError() value of 'n' must be a uint32 .  "
               "You send a Number. IsUint32: 0. IsDouble: 0 . "
               "({\n    \"command\": \"c\",\n    \"n\": -1\n})"));
}

TEST_F(RequestParsers, ParseUintAnswersWhenTheMemberIsMissing) {
    expectRefused(parseUint, "n", R"({"command":"c"})", -2, "c",
                  "no entry for 'n'. ({\n    \"command\": \"c\"\n})");
    EXPECT_TRUE(
        logged("[WARNING] KLV::parseUint() failed to parse webapp command "
               "{\n    \"command\": \"c\"\n}: no entry for n"));
}

TEST_F(RequestParsers, ParseUintTakesAnEmptyNameForAMissingMember) {
    expectRefused(parseUint, "", R"({"command":"c","":5})", -2, "c",
                  "no entry for ''. ({\n    \"command\": \"c\",\n    \"\": 5\n})");
}

TEST_F(RequestParsers, ParseUintLeavesARequestWithoutACommandToParseCommand) {
    expectRefused(parseUint, "n", R"({"n":"x"})", -1, "undef_cmd",
                  "no command name found. ({\n    \"n\": \"x\"\n})");
}

TEST_F(RequestParsers, ParseUintReportsAnUnreadableCommandOnce) {
    expectRefused(parseUint, "n", R"({"n":"x","command":[]})", -1, "undef_cmd",
                  "value of 'command' must be a string .  You send a Array. . "
                  "({\n    \"n\": \"x\",\n    \"command\": []\n})");
}

TEST_F(RequestParsers, ParseIntReadsTheWholeRange) {
    request(R"({"command":"c","low":-2147483648,"high":2147483647})");
    int value = 7;
    EXPECT_EQ(parseInt("low", value, &doc_), 0);
    EXPECT_EQ(value, -2147483647 - 1);
    EXPECT_EQ(parseInt("high", value, &doc_), 0);
    EXPECT_EQ(value, 2147483647);
    EXPECT_TRUE(session_.host.frames().empty());
}

TEST_F(RequestParsers, ParseIntReportsWhatIsNoNumberOf32Bits) {
    expectWrongType(parseInt, "int32", "2.5", "Number. IsUint32: 0. IsDouble: 1");
    expectWrongType(parseInt, "int32", "4294967295", "Number. IsUint32: 1. IsDouble: 0");
    expectWrongType(parseInt, "int32", "2147483648", "Number. IsUint32: 1. IsDouble: 0");
    expectWrongType(parseInt, "int32", "-2147483649", "Number. IsUint32: 0. IsDouble: 0");
}

TEST_F(RequestParsers, ParseIntAnswersInItsOwnWordsWhenTheMemberIsMissing) {
    expectRefused(parseInt, "n", R"({"command":"c"})", -2, "c",
                  "no \"n\". ({\n    \"command\": \"c\"\n})");
    EXPECT_TRUE(
        logged("[WARNING] KLV::parseInt() failed to parse webapp command "
               "{\n    \"command\": \"c\"\n}: no entry for \"n\""));
}

TEST_F(RequestParsers, ParseIntTakesAnEmptyNameForAMissingMember) {
    expectRefused(parseInt, "", R"({"command":"c","":5})", -2, "c",
                  "no \"\". ({\n    \"command\": \"c\",\n    \"\": 5\n})");
}

TEST_F(RequestParsers, ParseSignalKeyReadsNameAndMac) {
    request(R"({"signal_key":{"name":"Speed","mac":"00:11"}})");
    std::string name;
    std::string mac;
    EXPECT_EQ(parseSignalKey(name, mac, doc_), 0);
    EXPECT_EQ(name, "Speed");
    EXPECT_EQ(mac, "00:11");
    EXPECT_EQ(capture_.standardOutput(), "[DEBUG] KLV::parseSignalKey() parse signal key \n");
}

TEST_F(RequestParsers, ParseSignalKeyReadsBeyondAZeroByte) {
    request(R"({"signal_key":{"name":"Sp\u0000eed","mac":"00\u0000:11"}})");
    std::string name;
    std::string mac;
    EXPECT_EQ(parseSignalKey(name, mac, doc_), 0);
    EXPECT_EQ(name, std::string("Sp\0eed", 6));
    EXPECT_EQ(mac, std::string("00\0:11", 6));
}

TEST_F(RequestParsers, ParseSignalKeyLeavesWhatItDoesNotFind) {
    request(R"({"signal_key":{"name":5}})");
    std::string name = "n";
    std::string mac = "m";
    EXPECT_EQ(parseSignalKey(name, mac, doc_), 0);
    EXPECT_EQ(name, "n");
    EXPECT_EQ(mac, "m");
    EXPECT_TRUE(session_.host.frames().empty());
}

TEST_F(RequestParsers, ParseSignalKeyTellsNobodyThatThereIsNoObject) {
    for (const char* text : {R"({"command":"c"})", R"({"signal_key":"Speed"})",
                             R"({"signal_key":["Speed","00:11"]})"}) {
        request(text);
        std::string name = "n";
        std::string mac = "m";
        EXPECT_EQ(parseSignalKey(name, mac, doc_), -2) << text;
        EXPECT_EQ(name + mac, "nm");
    }
    EXPECT_TRUE(session_.host.frames().empty());
}
