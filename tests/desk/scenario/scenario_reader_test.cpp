#include "desk/scenario/scenario_reader.h"

#include <gtest/gtest.h>

#include "tests/kit/temporary_directory.h"

using desk::Behaviour;
using desk::Failure;
using desk::Milliseconds;
using desk::parseScenario;
using desk::readScenarioFile;
using desk::Scenario;
using desk::ScenarioError;

namespace {

std::string errorOf(const std::string& json) {
    try {
        parseScenario(json);
    } catch (const ScenarioError& wrong) {
        return wrong.what();
    }
    return "";
}

std::string errorOfBehaviour(const std::string& json) {
    return errorOf(R"({"requests": {"53": )" + json + "}}");
}

Behaviour behaviourOf(const std::string& json) {
    return parseScenario(R"({"requests": {"53": )" + json + "}}").behaviour(53);
}

TEST(ParseScenario, LetsALoggerBehaveWellWhenItIsEmpty) {
    const Scenario scenario = parseScenario("{}");
    EXPECT_EQ(scenario.behaviour(53), Behaviour{});
    EXPECT_EQ(scenario.leaveAfter, std::nullopt);
    EXPECT_EQ(scenario.dieAfter, std::nullopt);
}

TEST(ParseScenario, ReadsEachBehaviour) {
    EXPECT_EQ(behaviourOf(R"({"delay": "1.5s"})").delay, Milliseconds(1500));
    EXPECT_EQ(behaviourOf(R"({"busy": 3})").busy, 3U);
    EXPECT_EQ(behaviourOf(R"({"answers": 2})").answers, 2U);
    EXPECT_EQ(behaviourOf(R"({"answers": 0})").answers, 0U);
    EXPECT_TRUE(behaviourOf(R"({"malformed": true})").malformed);
    EXPECT_TRUE(behaviourOf(R"({"leave": true})").leave);
    const Behaviour failing =
        behaviourOf(R"({"status": 3, "error_code": 4, "description": "not there"})");
    EXPECT_EQ(failing.failure, (Failure{3, errorCode_t::NotFound, "not there"}));
}

TEST(ParseScenario, TakesAnErrorWithoutAStatusForAFailure) {
    EXPECT_EQ(behaviourOf(R"({"error_code": 5})").failure, (Failure{2, errorCode_t::Timeout, ""}));
    EXPECT_EQ(behaviourOf(R"({"status": 3})").failure, (Failure{3, errorCode_t::Internal, ""}));
}

TEST(ParseScenario, CombinesBehaviours) {
    const Behaviour behaviour = behaviourOf(
        R"({"delay": "10ms", "busy": 1, "answers": 2, "malformed": true, "status": 2})");
    EXPECT_EQ(behaviour.delay, Milliseconds(10));
    EXPECT_EQ(behaviour.busy, 1U);
    EXPECT_EQ(behaviour.answers, 2U);
    EXPECT_TRUE(behaviour.malformed);
    EXPECT_TRUE(behaviour.failure.has_value());
}

TEST(ParseScenario, AppliesTheStarToRequestsWithoutAnEntry) {
    const Scenario scenario =
        parseScenario(R"({"requests": {"*": {"busy": 1}, "53": {"busy": 2}, "82": {}}})");
    EXPECT_EQ(scenario.behaviour(23).busy, 1U);
    EXPECT_EQ(scenario.behaviour(53).busy, 2U);
    EXPECT_EQ(scenario.behaviour(82).busy, 0U);
}

TEST(ParseScenario, ReadsWhenTheLoggerGoes) {
    EXPECT_EQ(parseScenario(R"({"leave_after": "2s"})").leaveAfter, Milliseconds(2000));
    EXPECT_EQ(parseScenario(R"({"die_after": "2s"})").dieAfter, Milliseconds(2000));
}

TEST(ParseScenario, SaysWhereTheJsonBreaks) {
    EXPECT_EQ(errorOf("{\n  \"requests\": {,}\n}"),
              "line 2, column 16: Missing a name for object member.");
    EXPECT_EQ(errorOf(""), "line 1, column 1: The document is empty.");
    EXPECT_EQ(errorOf("{} x"),
              "line 1, column 4: The document root must not be followed by other values.");
    EXPECT_EQ(errorOf("[]"), "a scenario is one JSON object");
}

TEST(ParseScenario, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(errorOf(R"({"request": {}})"),
              "request: is not known; a scenario has \"requests\", \"leave_after\" and "
              "\"die_after\"");
    EXPECT_EQ(errorOfBehaviour(R"({"silent": true})"),
              "requests.53.silent: is not known; a request's behaviour has \"delay\", \"busy\", "
              "\"status\", \"error_code\", \"description\", \"answers\", \"malformed\" and "
              "\"leave\"");
}

TEST(ParseScenario, RefusesWhatIsNoRequestNumber) {
    for (const char* const id : {"", "x", "-1", "053", "53 ", "65536", "5.3"}) {
        EXPECT_EQ(errorOf(std::string(R"({"requests": {")") + id + R"(": {}}})"),
                  std::string("requests.") + id +
                      ": is not a request's number; write \"53\", or \"*\" for all others");
    }
}

TEST(ParseScenario, RefusesValuesOfTheWrongKind) {
    EXPECT_EQ(errorOf(R"({"requests": []})"), "requests: must be an object");
    EXPECT_EQ(errorOfBehaviour("7"), "requests.53: must be an object");
    EXPECT_EQ(errorOfBehaviour(R"({"delay": 5})"), "requests.53.delay: must be a text");
    EXPECT_EQ(errorOfBehaviour(R"({"delay": "5"})"),
              "requests.53.delay: \"5\" is not a length of time; write it like 500ms, 2s or 1min, "
              "up to a day");
    EXPECT_EQ(errorOfBehaviour(R"({"busy": -1})"),
              "requests.53.busy: must be a whole number from 0 to 1000000");
    EXPECT_EQ(errorOfBehaviour(R"({"status": 256})"),
              "requests.53.status: must be a whole number from 0 to 255");
    EXPECT_EQ(errorOfBehaviour(R"({"error_code": "7"})"),
              "requests.53.error_code: must be a whole number from 0 to 255");
    EXPECT_EQ(errorOfBehaviour(R"({"description": 1})"), "requests.53.description: must be a text");
    EXPECT_EQ(errorOfBehaviour(R"({"answers": 101})"),
              "requests.53.answers: must be a whole number from 0 to 100");
    EXPECT_EQ(errorOfBehaviour(R"({"malformed": 1})"),
              "requests.53.malformed: must be true or false");
    EXPECT_EQ(errorOfBehaviour(R"({"leave": "yes"})"), "requests.53.leave: must be true or false");
    EXPECT_EQ(errorOf(R"({"leave_after": 5})"), "leave_after: must be a text");
}

TEST(ParseScenario, RefusesAMemberThatStandsThereTwice) {
    EXPECT_EQ(errorOf(R"({"requests": {"53": {}, "53": {}}})"), "requests.53: stands there twice");
    EXPECT_EQ(errorOfBehaviour(R"({"busy": 1, "busy": 2})"),
              "requests.53.busy: stands there twice");
}

TEST(ParseScenario, RefusesWhatContradictsItself) {
    EXPECT_EQ(errorOfBehaviour(R"({"status": 0})"),
              "requests.53.status: must not be 0, which means success");
    for (const char* const other : {R"("busy": 1)", R"("status": 2)", R"("malformed": true)"}) {
        EXPECT_EQ(errorOfBehaviour(std::string(R"({"answers": 0, )") + other + "}"),
                  "requests.53.answers: is 0, so there is nothing that could be otherwise odd");
    }
    EXPECT_EQ(errorOfBehaviour(R"({"leave": true, "delay": "1s"})"),
              "requests.53.leave: does not go with other members: there is no answer");
}

TEST(ParseScenario, SurvivesDeepNesting) {
    EXPECT_NE(errorOf(std::string(100000, '[')), "");
    EXPECT_NE(errorOf(std::string(100000, '[') + std::string(100000, ']')), "");
}

TEST(ReadScenarioFile, ReadsAFile) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("s.json", R"({"leave_after": "1min"})");
    EXPECT_EQ(readScenarioFile(file).leaveAfter, Milliseconds(60000));
}

TEST(ReadScenarioFile, SaysWhenAFileCannotBeRead) {
    const TemporaryDirectory directory;
    for (const std::string& path :
         {directory.path().string(), (directory.path() / "none.json").string()}) {
        try {
            readScenarioFile(path);
            ADD_FAILURE() << path;
        } catch (const ScenarioError& wrong) {
            EXPECT_STREQ(wrong.what(), "the file cannot be read");
        }
    }
}

TEST(ReadScenarioFile, FindsAnEmptyFileEmpty) {
    const TemporaryDirectory directory;
    try {
        readScenarioFile(directory.write("s.json", ""));
        ADD_FAILURE();
    } catch (const ScenarioError& wrong) {
        EXPECT_STREQ(wrong.what(), "line 1, column 1: The document is empty.");
    }
}

}  // namespace
