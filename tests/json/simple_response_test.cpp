#include "json/simple_response.h"
#include "json/request_command.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"

namespace {

using Lines = std::vector<std::string>;

std::string take(char* text) {
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    return owner ? owner.get() : "(null)";
}

Document request(const char* text) {
    Document doc;
    doc.Parse(text);
    return doc;
}

}  // namespace

TEST(SimpleResponse, OfSuccessHasResponseAndStatusAlone) {
    EXPECT_EQ(take(createJSONResponse_simple("ping", KR_STATE_OK, KR_ERROR_NO_VALUE, "")),
              "{\n    \"response\": \"ping\",\n    \"status\": \"OK\"\n}");
}

TEST(SimpleResponse, OfSuccessCarriesADescription) {
    EXPECT_EQ(
        take(createJSONResponse_simple("a", KR_STATE_OK, KR_ERROR_TODO, "why")),
        "{\n    \"response\": \"a\",\n    \"status\": \"OK\",\n    \"error_msg\": \"why\"\n}");
}

TEST(SimpleResponse, OfAnErrorHasResponseStatusAndErrorCodeInThisOrder) {
    WorkerSession session;
    createAndSendJSON_simple("undef_cmd", KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND, "");
    EXPECT_EQ(session.host.texts(),
              Lines{"{\n    \"response\": \"undef_cmd\",\n    \"status\": \"ERROR\",\n"
                    "    \"error_code\": \"invalid_command\"\n}"});
}

TEST(SimpleResponse, OfAnErrorEndsWithTheDescription) {
    WorkerSession session;
    createAndSendJSON_simple("c", KR_STATE_FAILED, KR_ERROR_ILLEGAL_KEY, "text \"quoted\"");
    EXPECT_EQ(session.sent(),
              Lines{R"({"response":"c","status":"ERROR","error_code":"illegal_key",)"
                    R"("error_msg":"text \"quoted\""})"});
}

TEST(SimpleResponse, KnowsNoStateButSuccessAndError) {
    for (const kr_state state : {KR_STATE_ERROR, KR_STATE_FAILED, KR_STATE_PROGRESS,
                                 KR_STATE_WAITING_FOR_DATA, static_cast<kr_state>(77)}) {
        EXPECT_EQ(take(createJSONResponse_simple("c", state, KR_ERROR_RUNNING, "")),
                  "{\n    \"response\": \"c\",\n    \"status\": \"ERROR\",\n"
                  "    \"error_code\": \"running\"\n}")
            << state;
    }
}

TEST(SimpleResponse, GivesTheErrorCodes9And42ThePlaceholder) {
    for (const unsigned code : {9U, 42U}) {
        WorkerSession session;
        createAndSendJSON_simple("c", KR_STATE_ERROR, static_cast<kr_error_code>(code), "");
        EXPECT_EQ(session.sent(),
                  Lines{R"({"response":"c","status":"ERROR","error_code":"todo"})"});
    }
}

TEST(SimpleResponse, IsDroppedWithoutASession) {
    const LogCapture capture;
    createAndSendJSON_simple("c", KR_STATE_OK, KR_ERROR_TODO, "");
    EXPECT_EQ(capture.standardOutput(), "[DEBUG] KLV::createAndSendJSON_simple() Invalid server\n");
}

TEST(SimpleDocResponse, NamesTheRequestsCommand) {
    WorkerSession session;
    const Document doc = request(R"({"command":"get_bus_names"})");
    EXPECT_EQ(createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_WAIT_FOR_LOGGER_INFO, ""),
              0);
    EXPECT_EQ(session.sent(), Lines{R"({"response":"get_bus_names","status":"ERROR",)"
                                    R"("error_code":"wait for logger info"})"});
}

TEST(SimpleDocResponse, LeavesARequestWithoutACommandToTheParser) {
    WorkerSession session;
    const LogCapture capture;
    const Document doc = request(R"({"a":1})");
    EXPECT_EQ(createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_RUNNING, "x"), -3);
    EXPECT_EQ(session.sent(),
              Lines{R"({"response":"undef_cmd","status":"ERROR","error_code":"invalid_command",)"
                    "\"error_msg\":\"no command name found. ({\\n    \\\"a\\\": 1\\n})\"}"});
}

TEST(GenericResponse, NamesTheSignalByAnArrayAndHasNoDescription) {
    EXPECT_EQ(take(createJSONResponse_generic("generic_start_sig", KR_STATE_OK, KR_ERROR_TODO,
                                              {"Speed", "00:11"}, 250)),
              "{\n    \"response\": \"generic_start_sig\",\n    \"signal_key\": [\n"
              "        \"Speed\",\n        \"00:11\"\n    ],\n    \"interval\": 250,\n"
              "    \"status\": \"OK\"\n}");
}

TEST(GenericResponse, IsSentWithMinusOneWhereNoIntervalIsGiven) {
    WorkerSession session;
    createAndSendJSON_generic("generic_sig_value", KR_STATE_PROGRESS, KR_ERROR_NO_VALUE, {"", "m"});
    EXPECT_EQ(session.sent(), Lines{R"({"response":"generic_sig_value","signal_key":["","m"],)"
                                    R"("interval":-1,"status":"ERROR","error_code":"no_value"})"});
}

TEST(GenericResponse, IsDroppedWithoutASession) {
    const LogCapture capture;
    createAndSendJSON_generic("c", KR_STATE_OK, KR_ERROR_TODO, {"a", "b"}, 1);
    EXPECT_EQ(capture.standardOutput(), "[DEBUG] KLV::sendWebsocketMessage() Invalid server\n");
}
