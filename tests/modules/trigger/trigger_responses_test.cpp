#include "modules/trigger/trigger_responses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <thread>

#include "krpbus/messages/krp_get_event_index.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "modules/trigger/trigger_catalogue.h"
#include "modules/trigger/trigger_commands.h"
#include "modules/trigger/trigger_module.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/module_session.h"
#include "tests/modules/trigger/trigger_samples.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using List = KRPResponseGetEventList;

class TriggerResponses : public testing::Test {
  protected:
    static int handle(const KRPMessageResponse& message, const std::string& logger) {
        return handleTriggerMessages(&message, logger);
    }
    static List failure(std::uint8_t status, errorCode_t code) {
        List message;
        message.setError(status, code);
        return message;
    }
    std::vector<std::string> sent() { return network_.session.takeSent(); }

    LogCapture log_;
    ModuleSession network_;
};

std::string list(const std::string& markers, const std::string& status) {
    return R"({"response":"get_trigger","markers":[)" + markers + R"(],"status":")" + status +
           R"("})";
}

}  // namespace

TEST_F(TriggerResponses, TellOfATriggerAndAskForAllEvents) {
    const SystemNgEventMessage event(9, EVENTID_TRIGGER_SET, 1700000000000001U, "UTC+01:00",
                                     "my marker", 65535, "text");
    const WaResponseSetTrigger answer(&event);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"set_trigger","number":65535,)"
                                    R"("timestamp":1700000000000001,"time_zone":"UTC+01:00",)"
                                    R"("marker_id":"my marker","status":"OK"})"));
    EXPECT_EQ(network_.next("HandheldServer"),
              "KRPMessageRequest [id=89] [name=NotSet] [payload=]");
    EXPECT_EQ(network_.next("EventHandler"),
              "KRPMessageRequest [id=50] [name=NotSet] [payload=03]");
    EXPECT_EQ(triggerInfo->state, 1U);
}

TEST_F(TriggerResponses, TellATimePastTheSignedRangeAsANegativeOne) {
    const SystemNgEventMessage event(9, EVENTID_TRIGGER_SET,
                                     std::numeric_limits<std::uint64_t>::max(), "", "", 0, "");
    const WaResponseSetTrigger answer(&event);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("timestamp":-1,)")));
}

TEST_F(TriggerResponses, TellTheIndex) {
    EXPECT_EQ(handle(KRPResponseGetEventIndex(3, -7), kLocalLogger), 1);
    EXPECT_THAT(sent(),
                ElementsAre(R"({"response":"get_trigger_count","index":-7,"status":"OK"})"));
}

TEST_F(TriggerResponses, LeaveTheIndexOutWhenItIsAnotherOne) {
    handle(KRPResponseGetEventIndex(2, 7), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"get_trigger_count","status":"OK"})"));
}

TEST_F(TriggerResponses, LeaveTheIndexOutWhenTheRequestFailed) {
    KRPResponseGetEventIndex message(3, 7);
    message.setError(2, errorCode_t::Timeout);
    handle(message, kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"get_trigger_count","status":"ERROR",)"
                                    R"("krp_status":"ERROR","error_code":"krpbus_error",)"
                                    R"("krp_error_code":"KRPERROR_TIMEOUT"})"));
}

TEST_F(TriggerResponses, ListTheEventsOfALoggerThatStandsAlone) {
    EXPECT_EQ(handle(List({event(1700000000000002U, "b \"x\"", -1, "CET"),
                           event(1700000000000001U, "a", 2147483647, "")}),
                     kLocalLogger),
              1);
    EXPECT_THAT(sent(), ElementsAre(list(R"({"number":2147483647,"timestamp":1700000000000001,)"
                                         R"("time_zone":"","marker_id":"a"},)"
                                         R"({"number":-1,"timestamp":1700000000000002,)"
                                         R"("time_zone":"CET","marker_id":"b \"x\""})",
                                         "OK")));
    EXPECT_EQ(triggerInfo->state, 2U);
}

TEST_F(TriggerResponses, ListNothingOfALoggerWithoutEvents) {
    handle(List(), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(list("", "OK")));
}

TEST_F(TriggerResponses, ListWhatHasArrivedUntilEveryLoggerHasAnswered) {
    knowNetwork({kOtherLogger});
    knowOffset(kOtherLogger, -10);
    triggerInfo->state = KSL_MSG_STATE_UPDATE;
    handle(List({event(100, "local", 1)}), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(list(
                            R"({"number":1,"timestamp":100,"time_zone":"UTC","marker_id":"local"})",
                            "PROGRESS")));
    EXPECT_EQ(triggerInfo->state, 1U);
    handle(List({event(105, "other", 2)}), kOtherLogger);
    EXPECT_THAT(sent(), ElementsAre(list(
                            R"({"number":2,"timestamp":95,"time_zone":"UTC","marker_id":"other"},)"
                            R"({"number":1,"timestamp":100,"time_zone":"UTC","marker_id":"local"})",
                            "OK")));
    EXPECT_EQ(triggerInfo->state, 2U);
}

TEST_F(TriggerResponses, ListATimeBelowZeroAsANegativeOne) {
    knowOffset(kLocalLogger, -10);
    handle(List({event(4, "early")}), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("timestamp":-6,)")));
}

TEST_F(TriggerResponses, CountALoggerThatAnswersTwiceOnce) {
    knowNetwork({kOtherLogger});
    handle(List(), kLocalLogger);
    handle(List(), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(list("", "PROGRESS"), list("", "PROGRESS")));
}

TEST_F(TriggerResponses, AreNeverCompleteBeforeTheNetworkIsKnown) {
    kslInfo->neighboursState = KSL_MSG_STATE_UPDATE;
    triggerInfo->state = KSL_MSG_STATE_UPDATE;
    handle(List(), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(list("", "PROGRESS")));
    EXPECT_EQ(triggerInfo->state, 1U);
}

TEST_F(TriggerResponses, AreNeverCompleteWithoutANetworkRecord) {
    delete kslInfo;
    kslInfo = nullptr;
    handle(List(), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(list("", "PROGRESS")));
}

TEST_F(TriggerResponses, NeverShowAnEmptyListAsComplete) {
    std::atomic<int> begun{0};
    std::atomic<bool> stop{false};
    std::thread browsers([&] {
        while (!stop) {
            begun += triggerInfo->beginCollection(1) ? 1 : 0;
        }
    });
    const List message({event(1, "a")});
    const auto deadline = Clock::now() + 10s;
    while (begun < 1000 && Clock::now() < deadline) {
        handle(message, kLocalLogger);
        EXPECT_THAT(sent(), testing::Not(Contains(list("", "OK"))));
    }
    stop = true;
    browsers.join();
    EXPECT_GT(begun, 1);
}

TEST_F(TriggerResponses, ReplaceIllFormedBytesInMarkers) {
    handle(List({event(1, "a\xff")}), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr("\"marker_id\":\"a\xef\xbf\xbd\"")));
}

TEST_F(TriggerResponses, KeepZeroBytesInMarkers) {
    handle(List({event(1, std::string("a\0b", 3))}), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("marker_id":"a\u0000b")")));
}

TEST_F(TriggerResponses, AskABusyLoggerAgainWithoutTellingTheBrowser) {
    const auto start = Clock::now();
    EXPECT_EQ(handle(failure(2, errorCode_t::Busy), kOtherLogger), 1);
    EXPECT_GE(Clock::now() - start, 100ms);
    EXPECT_EQ(network_.next("KSLForwarder"),
              "ksl://0/02:00:00:00:00:02/HandheldServer KRPMessageRequest [id=50] [name=NotSet] "
              "[payload=03]");
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(triggerInfo->getTriggerMapSize(), 0);
}

TEST_F(TriggerResponses, PassAFailureOn) {
    const List message = failure(2, errorCode_t::NotFound);
    EXPECT_EQ(handle(message, kOtherLogger), 1);
    EXPECT_THAT(sent(),
                ElementsAre(R"({"response":"get_trigger","source":"02:00:00:00:00:02",)"
                            R"("status":"ERROR","krp_status":"ERROR","error_code":"krpbus_error",)"
                            R"("krp_error_code":"KRPERROR_NOT_FOUND"})"));
    EXPECT_EQ(triggerInfo->getTriggerMapSize(), 0);
    EXPECT_THAT(log_.logLines("WaResponseGetEventList"),
                ElementsAre("[ERROR] KLV::WaResponseGetEventList() " + message.toString()));
}

TEST_F(TriggerResponses, PassAFailureWithoutErrorBytesOn) {
    List message;
    message.status = 2;
    handle(message, kOtherLogger);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("krp_error_code":"KRPERROR_NONE")")));
}

TEST_F(TriggerResponses, TakeAStatusOtherThanErrorForNoBusyLogger) {
    handle(failure(3, errorCode_t::Busy), kOtherLogger);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("krp_status":"KRPSTATUS_NOTAVAILABLE")")));
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(TriggerResponses, StoreATimeOffset) {
    EXPECT_EQ(handle(Simple1MessageResponse<89, long long>(-5), kLocalLogger), 1);
    EXPECT_EQ(kslInfo->getKslTimeOffset(kLocalLogger), -5);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("response":"get_ksl_time_offset")")));
}

TEST_F(TriggerResponses, LeaveOtherAnswersAlone) {
    EXPECT_EQ(handle(StringMessageResponse<53, 1>("UTC"), kLocalLogger), 0);
    EXPECT_EQ(handleTriggerMessages(nullptr, kLocalLogger), 0);
    EXPECT_THAT(sent(), IsEmpty());
}
