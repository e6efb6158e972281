#include "json/wa_response_message.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "krpbus/messages/simple_messages.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"

namespace {

using Lines = std::vector<std::string>;

// An answer whose members a test can see to.
class Answer : public WaResponseKRPMessage {
  public:
    explicit Answer(const char* response = "x") {
        if (response != nullptr) {
            addText("response", response);
        }
    }
    using WaResponseKRPMessage::document;
    using WaResponseKRPMessage::server;
};

// What an answer with this status says.
Lines sentWithStatus(kr_state state, unsigned code, const std::string& msg) {
    WorkerSession session;
    Answer answer;
    answer.addStatus(state, static_cast<kr_error_code>(code), msg);
    answer.sendMessage();
    return session.sent();
}

// What an answer made from this bus answer says.
Lines sentForReply(const KRPMessageResponse& reply) {
    WorkerSession session;
    Answer answer;
    answer.addKrpStatus(&reply);
    answer.sendMessage();
    return session.sent();
}

SimpleMessageResponse<87> reply(std::uint8_t status, errorCode_t code, std::string description) {
    SimpleMessageResponse<87> message;
    message.setError(status, code, std::move(description));
    return message;
}

}  // namespace

TEST(AddStatus, OfSuccess) {
    EXPECT_EQ(sentWithStatus(KR_STATE_OK, 5, ""), Lines{R"({"response":"x","status":"OK"})"});
}

TEST(AddStatus, OfProgressHasADescriptionButNoErrorCode) {
    EXPECT_EQ(sentWithStatus(KR_STATE_PROGRESS, 5, "x"),
              Lines{R"({"response":"x","status":"PROGRESS","error_msg":"x"})"});
}

TEST(AddStatus, OfWaitingForData) {
    EXPECT_EQ(sentWithStatus(KR_STATE_WAITING_FOR_DATA, 1, ""),
              Lines{R"({"response":"x","status":"WAITING_FOR_DATA"})"});
}

TEST(AddStatus, OfEveryOtherStateIsAnError) {
    for (const unsigned state : {1U, 2U, 5U, 4294967295U}) {
        EXPECT_EQ(sentWithStatus(static_cast<kr_state>(state), 14, "m"),
                  Lines{R"({"response":"x","status":"ERROR","error_code":"illegal_key",)"
                        R"("error_msg":"m"})"});
    }
}

TEST(AddStatus, OfAnErrorWithoutADescriptionLogsTheWholeAnswer) {
    const LogCapture capture;
    EXPECT_EQ(sentWithStatus(KR_STATE_ERROR, 5, ""),
              Lines{R"({"response":"x","status":"ERROR","error_code":"cannot_start"})"});
    const std::string whole =
        "{\n    \"response\": \"x\",\n    \"status\": \"ERROR\",\n"
        "    \"error_code\": \"cannot_start\"\n}";
    EXPECT_EQ(capture.standardOutput(), "[DEBUG] KLV::dom_to_string() json_str: " + whole +
                                            "\n[ERROR] KLV::addStatus() " + whole + "\n");
}

TEST(AddStatus, LogsNothingElse) {
    const LogCapture capture;
    sentWithStatus(KR_STATE_OK, 0, "");
    sentWithStatus(KR_STATE_PROGRESS, 0, "");
    sentWithStatus(KR_STATE_WAITING_FOR_DATA, 0, "");
    sentWithStatus(KR_STATE_ERROR, 5, "told");
    EXPECT_EQ(capture.standardOutput(), "");
}

TEST(SendMessage, DropsAnAnswerWithoutAResponseSilently) {
    WorkerSession session;
    const LogCapture capture;
    Answer answer(nullptr);
    answer.addStatus(KR_STATE_OK, KR_ERROR_TODO, "");
    answer.sendMessage();
    EXPECT_TRUE(session.host.frames().empty());
    EXPECT_EQ(capture.standardOutput(), "");
}

TEST(SendMessage, SendsToTheConnectionThatWasThereAtTheBeginning) {
    WorkerSession session;
    Answer answer;
    stp = nullptr;
    answer.sendMessage();
    EXPECT_EQ(session.host.texts(), Lines{"{\n    \"response\": \"x\"\n}"});
}

TEST(SendMessage, DropsAnAnswerThatWasMadeWithoutASession) {
    const LogCapture capture;
    Answer answer;
    EXPECT_EQ(answer.server, nullptr);
    EXPECT_TRUE(answer.document.IsObject());
    const WorkerSession session;
    answer.sendMessage();
    EXPECT_TRUE(session.host.frames().empty());
    EXPECT_EQ(capture.standardOutput(), "[DEBUG] KLV::sendMessage() Invalid server\n");
}

TEST(AddKrpStatus, OfSuccess) {
    EXPECT_EQ(sentForReply(SimpleMessageResponse<87>()),
              Lines{R"({"response":"x","status":"OK"})"});
}

TEST(AddKrpStatus, OfProgressHasAPlaceholderInPlaceOfAStatus) {
    const LogCapture capture;
    EXPECT_EQ(sentForReply(reply(1, errorCode_t::None, "")),
              Lines{R"({"response":"x","krp_status":"KRPSTATUS_PROGRESS","todo":"progress"})"});
    EXPECT_EQ(capture.standardOutput(), "[ERROR] KLV::addKrpStatus() todo KRPSTATUS_PROGRESS\n");
}

TEST(AddKrpStatus, OfAnErrorLogsTheReplyAndCarriesItsCodeAndDescription) {
    const LogCapture capture;
    const auto failed = reply(2, errorCode_t::Busy, "later");
    EXPECT_EQ(sentForReply(failed),
              Lines{R"({"response":"x","status":"ERROR","krp_status":"ERROR",)"
                    R"("error_code":"krpbus_error","krp_error_code":"KRPERROR_BUSY",)"
                    R"("krp_error_description":"later"})"});
    EXPECT_EQ(capture.standardOutput(),
              "[ERROR] KLV::addKrpStatus() KRP message: " + failed.toString() +
                  "\n[ERROR] KLV::addKrpErrorCode() KRP status: KRPSTATUS_ERROR. errorCode_t: "
                  "KRPERROR_BUSY\terrorDescription: later\n");
}

TEST(AddKrpStatus, OfNotAvailableLeavesAnEmptyDescriptionOut) {
    const LogCapture capture;
    EXPECT_EQ(sentForReply(reply(3, static_cast<errorCode_t>(42), "")),
              Lines{R"({"response":"x","status":"ERROR","krp_status":"KRPSTATUS_NOTAVAILABLE",)"
                    R"("error_code":"krpbus_error","krp_error_code":"KRPERROR_42"})"});
    EXPECT_EQ(capture.standardOutput(),
              "[ERROR] KLV::addKrpErrorCode() KRP status: KRPSTATUS_ERROR. errorCode_t: "
              "KRPERROR_42\terrorDescription: \n");
}

TEST(AddKrpStatus, OfAReplyWithoutErrorBytes) {
    SimpleMessageResponse<87> bare;
    bare.status = 3;
    ASSERT_TRUE(bare.errorCode.empty());
    const Lines sent = sentForReply(bare);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0], R"({"response":"x","status":"ERROR","krp_status":"KRPSTATUS_NOTAVAILABLE",)"
                       R"("error_code":"krpbus_error","krp_error_code":"KRPERROR_NONE"})");
}

TEST(AddKrpStatus, OfAnyOtherStatusIsAnInvalidCommand) {
    for (const std::uint8_t status : {std::uint8_t{4}, std::uint8_t{255}}) {
        const LogCapture capture;
        const auto odd = reply(status, errorCode_t::Busy, "why");
        EXPECT_EQ(sentForReply(odd),
                  Lines{R"({"response":"x","status":"ERROR","error_code":"invalid_command"})"});
        EXPECT_EQ(capture.standardOutput(),
                  "[ERROR] KLV::addKrpStatus() KRPMessageResponse: " + odd.toString() + "\n");
    }
}

TEST(AddKrpErrorCode, SendsADescriptionThatIsNoUtf8AllTheSame) {
    EXPECT_EQ(sentForReply(reply(3, errorCode_t::None, "caf\xE9")),
              Lines{R"({"response":"x","status":"ERROR","krp_status":"KRPSTATUS_NOTAVAILABLE",)"
                    "\"error_code\":\"krpbus_error\",\"krp_error_code\":\"KRPERROR_NONE\","
                    "\"krp_error_description\":\"caf\xEF\xBF\xBD\"}"});
}
