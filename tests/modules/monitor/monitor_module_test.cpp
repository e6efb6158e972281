#include "modules/monitor/monitor_module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "krpbus/messages/krp_get_rc_monitor_names.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/handheld_session.h"
#include "tests/kit/log_capture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kNoScreen =
    R"({"response":"request_screen","status":"ERROR","error_code":"invalid_command","error_msg":"value of 'index' must be a string between '0' and '9'"})";

class MonitorModule : public HandheldSession {
  protected:
    MonitorModule() : HandheldSession("monitor_test") {}

    // Runs the request and returns what the browser was sent for it, as compact JSON.
    std::vector<std::string> run(const std::string& request) {
        return session_.answersTo(wa_handle_message_monitor, request);
    }

    // The next notice that the server gets: its type and text.
    std::pair<int, std::string> nextNotice() {
        const auto notice = server_.nextOf<SystemMessage>();
        return notice ? std::pair<int, std::string>(notice->getType(), notice->getText())
                      : std::pair<int, std::string>(-1, "");
    }
};

TEST_F(MonitorModule, LeavesOtherCommandsToOtherModules) {
    const Document doc(rapidjson::kObjectType);
    EXPECT_EQ(0, wa_handle_message_monitor("start_monitors", doc));
    EXPECT_EQ(0, wa_handle_message_monitor("set_trigger", doc));
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(MonitorModule, LogsItsSetUpAndItsEnd) {
    LogCapture log;
    EXPECT_EQ(0, monitor_module_setup());
    EXPECT_EQ(0, monitor_module_destroy());
    EXPECT_THAT(log.logLines(),
                ElementsAre("[INFO] KLV::monitor_module_setup() setup monitor module",
                            "[DEBUG] KLV::monitor_module_destroy() destroy monitor module",
                            "[DEBUG] KLV::monitor_module_destroy() monitor module destroyed"));
}

TEST_F(MonitorModule, AsksTheLocalLoggerForItsMonitors) {
    EXPECT_THAT(run(R"({"command":"get_rcmonitor_names"})"), IsEmpty());
    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(83, request->getKrpMsgID());
    EXPECT_THAT(request->payload, IsEmpty());
    EXPECT_EQ("NotSet", request->name);
    EXPECT_EQ("monitor_test", request->getSource());
}

TEST_F(MonitorModule, SendsStartAndStopAsOftenAsItIsTold) {
    LogCapture log;
    run(R"({"command":"start_monitor"})");
    run(R"({"command":"start_monitor"})");
    EXPECT_THAT(run(R"({"command":"stop_monitor"})"), IsEmpty());
    EXPECT_EQ(std::pair(4, std::string("61-HCUStartRCMon")), nextNotice());
    EXPECT_EQ(std::pair(4, std::string("61-HCUStartRCMon")), nextNotice());
    EXPECT_EQ(std::pair(4, std::string("62-HCUStopRCMon")), nextNotice());
    EXPECT_THAT(log.logLines("startMonitor"),
                ElementsAre("[DEBUG] KLV::startMonitor() startMonitor",
                            "[DEBUG] KLV::startMonitor() startMonitor"));
    EXPECT_THAT(log.logLines("stopMonitor"), ElementsAre("[DEBUG] KLV::stopMonitor() stopMonitor"));
}

TEST_F(MonitorModule, SelectsEachOfTheTenScreens) {
    LogCapture log;
    for (const std::string index : {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"}) {
        EXPECT_THAT(run(R"({"command":"request_screen","index":")" + index + "\"}"), IsEmpty());
        EXPECT_EQ(std::pair(25, index), nextNotice());
    }
    std::vector<std::string> expected;
    for (const char index : std::string("0123456789")) {
        expected.push_back(std::string("[DEBUG] KLV::requestScreen() requestScreen:") + index);
        expected.push_back("[DEBUG] KLV::requestScreen() send (SystemMessage::SM_RCMON, index)");
    }
    EXPECT_EQ(expected, log.logLines("requestScreen"));
}

TEST_F(MonitorModule, RefusesWhatIsNoScreen) {
    LogCapture log;
    for (const std::string index : {"07", "10", "a", "", " 1", "1 ", "-1", "٣"}) {
        EXPECT_THAT(run(R"({"command":"request_screen","index":")" + index + "\"}"),
                    ElementsAre(kNoScreen))
            << index;
        EXPECT_THAT(log.logLines("requestScreen"),
                    ElementsAre("[DEBUG] KLV::requestScreen() requestScreen:" + index));
        log.clear();
    }
    // Nothing has gone out: the next that arrives is this one.
    run(R"({"command":"request_screen","index":"3"})");
    EXPECT_EQ(std::pair(25, std::string("3")), nextNotice());
}

TEST_F(MonitorModule, LeavesAMissingOrNumericIndexToTheParser) {
    const auto refused = [](const std::string& reason) {
        return ElementsAre(
            R"({"response":"request_screen","status":"ERROR","error_code":"invalid_command","error_msg":")" +
            reason + R"("})");
    };
    EXPECT_THAT(run(R"({"command":"request_screen"})"),
                refused(R"(no entry for 'index'. ({\n    \"command\": \"request_screen\"\n}))"));
    EXPECT_THAT(
        run(R"({"command":"request_screen","index":7})"),
        refused(
            R"(value of 'index' must be a string .  You send a Number. IsUint32: 1. IsDouble: 0 . ({\n    \"command\": \"request_screen\",\n    \"index\": 7\n}))"));
}

TEST_F(MonitorModule, SendsNothingWithoutABus) {
    session_.setup.krpbus = nullptr;
    EXPECT_THAT(run(R"({"command":"get_rcmonitor_names"})"), IsEmpty());
    EXPECT_THAT(run(R"({"command":"start_monitor"})"), IsEmpty());
    EXPECT_THAT(run(R"({"command":"request_screen","index":"3"})"), IsEmpty());
    session_.setup.krpbus = &client_;
    run(R"({"command":"stop_monitor"})");
    EXPECT_EQ(std::pair(4, std::string("62-HCUStopRCMon")), nextNotice());
}

TEST_F(MonitorModule, ListsTheMonitorsInTheOrderOfTheAnswer) {
    const KRPResponseGetRCMonitorNames answer({{3, "Engine"}, {0, "Gear \"box\""}});
    LogCapture log;
    EXPECT_EQ(1, handleMonitorMessages(&answer));
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(
            R"({"response":"get_rcmonitor_names","rc_monitors":[{"index":3,"name":"Engine"},{"index":0,"name":"Gear \"box\""}],"status":"OK"})"));
    EXPECT_THAT(log.logLines("handleMonitorMessages"),
                ElementsAre("[DEBUG] KLV::handleMonitorMessages() ********* GetRCMonitorNames "
                            "**************"));
}

TEST_F(MonitorModule, ReportsAFailedAnswer) {
    KRPResponseGetRCMonitorNames answer;
    answer.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::NotAllowed, "no unit");
    EXPECT_EQ(1, handleMonitorMessages(&answer));
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(
            R"({"response":"get_rcmonitor_names","rc_monitors":[],"status":"ERROR","krp_status":"ERROR","error_code":"krpbus_error","krp_error_code":"KRPERROR_NOT_ALLOWED","krp_error_description":"no unit"})"));
}

TEST_F(MonitorModule, ShowsAScreenValueAndStillOffersItToTheOthers) {
    SignalMessage value;
    value.instanceName = "EngineSpeed";
    value.value = "812";
    value.unit = "1/min";
    EXPECT_EQ(0, handleMonitorMessages(&value));
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(
            R"({"response":"signal_message","name":"EngineSpeed","value":"812","unit":"1/min"})"));
}

TEST_F(MonitorModule, LeavesValuesWithAWebApplicationNameToTheSignals) {
    SignalMessage value;
    value.instanceName = "EngineSpeed";
    value.webappName = "Engine speed";
    EXPECT_EQ(0, handleMonitorMessages(&value));
    EXPECT_EQ(0, handleMonitorMessages(nullptr));
    EXPECT_THAT(session_.sent(), IsEmpty());
}

}  // namespace
