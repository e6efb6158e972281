#include "modules/trigger/trigger_commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/clock.h"
#include "krpbus/messages/keyboard_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "modules/trigger/trigger_catalogue.h"
#include "modules/trigger/trigger_module.h"
#include "modules/trigger/trigger_responses.h"
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

const std::string kListRequest = "KRPMessageRequest [id=50] [name=NotSet] [payload=03]";
const std::string kOffsetRequest = "KRPMessageRequest [id=89] [name=NotSet] [payload=]";
const std::string kIncomplete =
    R"({"response":"get_trigger","status":"ERROR","error_code":"cannot_start",)"
    R"("error_msg":"not all triggers received"})";

class TriggerCommands : public testing::Test {
  protected:
    int run(const std::string& request) { return runRequest(&wa_handle_message_trigger, request); }
    static void answer(const std::string& logger, std::vector<List::event_t> events) {
        const List message(std::move(events));
        EXPECT_NE(handleTriggerMessages(&message, logger), 0);
    }
    std::vector<std::string> sent() { return network_.session.takeSent(); }
    void expectOffsetRequest() {
        EXPECT_EQ(network_.next("HandheldServer"), kOffsetRequest);
        EXPECT_EQ(network_.next("KSLForwarder"), "ksl://0/*/HandheldServer " + kOffsetRequest);
    }
    void expectListRequest() {
        EXPECT_EQ(network_.next("EventHandler"), kListRequest);
        EXPECT_EQ(network_.next("KSLForwarder"), "ksl://0/*/EventHandler " + kListRequest);
    }
    // The event that a trigger has made, the key presses that go with it, and nothing else.
    void expectTrigger(const std::string& markerId) {
        const std::uint64_t now = getTimeOfDay();
        const auto message = network_.nextMessageAt("EventHandler");
        const auto* event = dynamic_cast<const SystemNgEventMessage*>(message.get());
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(event->getSource(), "17_KLV1");
        EXPECT_EQ(event->getEventId(), 3);
        EXPECT_EQ(event->getMarkerId(), markerId);
        EXPECT_EQ(event->getTimeZone(), "");
        EXPECT_EQ(event->getNumber(), 0);
        EXPECT_EQ(event->getText(), SystemMessage::NOT_AVAILABLE);
        EXPECT_LE(event->getEventTime(), event->getTime());
        EXPECT_LE(event->getTime(), now);
        EXPECT_LT(now - event->getEventTime(), 60000000U);
        for (const auto pressed : {std::uint8_t{1}, std::uint8_t{0}}) {
            const std::string key = KeyboardMessage(16, pressed, event->getEventTime()).toString();
            EXPECT_EQ(network_.next("OnlineProcessor"), key);
            EXPECT_EQ(network_.next("KSLForwarder"), "ksl://0/*/OnlineProcessor " + key);
        }
        EXPECT_TRUE(network_.isQuiet());
    }

    LogCapture log_;
    ModuleSession network_;
};

}  // namespace

TEST_F(TriggerCommands, LeaveOtherCommandsToOtherModules) {
    EXPECT_EQ(run(R"({"command": "get_triggers"})"), 0);
    EXPECT_EQ(run(R"({"command": "Set_trigger"})"), 0);
    EXPECT_EQ(run(R"({"command": "busload_start"})"), 0);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(TriggerCommands, RegisterForTheTriggerBusAtTheSetup) {
    EXPECT_EQ(trigger_module_setup(), 0);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[INFO] KLV::trigger_module_setup() setup trigger module"));
    const auto eventHandler = makeClient(network_.server, "EventHandler2");
    synchronise(*network_.bus, *eventHandler);
    const SystemNgEventMessage event(2, EVENTID_TRIGGER_SET, 1, "", "m", 0, "");
    eventHandler->sendToBus("EventHandler2", "Trigger", event.clone());
    const auto message = nextMessage(*network_.bus);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->toString(), event.toString());

    log_.clear();
    EXPECT_EQ(trigger_module_destroy(), 0);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[INFO] KLV::trigger_module_destroy() destroy trigger module"));
    synchronise(*network_.bus, *eventHandler);
    eventHandler->sendToBus("EventHandler2", "Trigger", event.clone());
    synchronise(*eventHandler, *network_.bus);  // throws when an event comes in between
}

TEST_F(TriggerCommands, SayThatTheSetupFailedWithoutABusAndReportSuccess) {
    network_.session.setup.krpbus = nullptr;
    EXPECT_EQ(trigger_module_setup(), 0);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[INFO] KLV::trigger_module_setup() setup trigger module",
                            "[ERROR] KLV::trigger_module_setup() trigger_module_setup failed."));
    EXPECT_EQ(trigger_module_destroy(), 0);
}

TEST_F(TriggerCommands, SayThatTheSetupFailedWhileTheBusServerIsAway) {
    network_.server.stop();
    ASSERT_TRUE(eventually([this] { return !network_.bus->isConnected(); }));
    EXPECT_EQ(trigger_module_setup(), 0);
    EXPECT_THAT(log_.logLines(),
                Contains("[ERROR] KLV::trigger_module_setup() trigger_module_setup failed."));
}

TEST_F(TriggerCommands, SetATriggerOnAllLoggers) {
    EXPECT_EQ(run(R"({"command": "set_trigger", "marker_id": "my marker"})"), 1);
    expectTrigger("my marker");
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(TriggerCommands, TellTheTimeOfTheEventAndTheLaterOneOfTheMessage) {
    bool differ = false;
    // The clock is read twice within much less than a microsecond.
    for (int attempt = 0; attempt < 5000 && !differ; ++attempt) {
        run(R"({"command": "set_trigger", "marker_id": "m"})");
        const auto message = network_.nextMessageAt("EventHandler");
        const auto* event = dynamic_cast<const SystemNgEventMessage*>(message.get());
        ASSERT_NE(event, nullptr);
        ASSERT_LE(event->getEventTime(), event->getTime());
        differ = event->getEventTime() != event->getTime();
        for (const auto pressed : {std::uint8_t{1}, std::uint8_t{0}}) {
            ASSERT_EQ(network_.next("OnlineProcessor"),
                      KeyboardMessage(16, pressed, event->getEventTime()).toString());
        }
    }
    EXPECT_TRUE(differ);
}

TEST_F(TriggerCommands, SetATriggerWithoutAMarker) {
    EXPECT_EQ(run(R"({"command": "set_trigger"})"), 1);
    expectTrigger("");
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(TriggerCommands, SetATriggerWithAnEmptyMarker) {
    EXPECT_EQ(run(R"({"command": "set_trigger", "marker_id": ""})"), 1);
    expectTrigger("");
}

TEST_F(TriggerCommands, SetATriggerAlsoWhenTheMarkerIsNoText) {
    EXPECT_EQ(run(R"({"command": "set_trigger", "marker_id": 5})"), 1);
    expectTrigger("");
    EXPECT_THAT(
        sent(),
        ElementsAre(R"({"response":"set_trigger","status":"ERROR","error_code":"invalid_command",)"
                    R"("error_msg":"value of 'marker_id' must be a string .  You send a Number. )"
                    R"(IsUint32: 1. IsDouble: 0 . ({\n    \"command\": \"set_trigger\",\n    )"
                    R"x(\"marker_id\": 5\n})"})x"));
}

TEST_F(TriggerCommands, SetATriggerWithAVeryLongMarker) {
    const std::string marker(65536, 'm');
    EXPECT_EQ(run(R"({"command": "set_trigger", "marker_id": ")" + marker + R"("})"), 1);
    expectTrigger(marker);
}

TEST_F(TriggerCommands, SetATriggerWithAMarkerOutsideAscii) {
    EXPECT_EQ(run("{\"command\": \"set_trigger\", \"marker_id\": \"Schl\xc3\xbc"
                  "ssel \\u20ac\"}"),
              1);
    expectTrigger("Schl\xc3\xbcssel \xe2\x82\xac");
}

TEST_F(TriggerCommands, AskTheLocalEventServiceForTheIndex) {
    EXPECT_EQ(run(R"({"command": "get_trigger_count"})"), 1);
    EXPECT_EQ(network_.next("EventHandler"),
              "KRPMessageRequest [id=96] [name=NotSet] [payload=03]");
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(log_.logLines("getTriggerCount"),
                ElementsAre("[DEBUG] KLV::getTriggerCount() stp->krpbus_name=17_KLV1"));
}

TEST_F(TriggerCommands, AskForTheTimeOffsetsAndThenForTheEventsOfAllLoggers) {
    getTrigger(0);
    EXPECT_EQ(network_.next("HandheldServer"), kOffsetRequest);
    EXPECT_EQ(network_.next("KSLForwarder"), "ksl://0/*/HandheldServer " + kOffsetRequest);
    expectListRequest();
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_EQ(triggerInfo->state, 1U);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(TriggerCommands, ForgetEarlierEventsWhenACollectionBegins) {
    answer(kLocalLogger, {event(1, "old")});
    EXPECT_EQ(triggerInfo->state, 2U);
    getTrigger(0);
    EXPECT_EQ(triggerInfo->getTriggerMapSize(), 0);
    EXPECT_THAT(triggerInfo->getTriggerList(), IsEmpty());
}

TEST_F(TriggerCommands, AskOnceWhileACollectionIsUnderWay) {
    getTrigger(0);
    expectOffsetRequest();
    expectListRequest();
    const KRPResponseGetEventList early;
    triggerInfo->addTriggerMessage(&early, kOtherLogger);
    getTrigger(0);
    expectOffsetRequest();
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_EQ(triggerInfo->getTriggerMapSize(), 1);
}

TEST_F(TriggerCommands, TellTheBrowserWhenNotEveryLoggerHasAnsweredInTime) {
    const auto start = Clock::now();
    getTrigger(3);
    EXPECT_GE(Clock::now() - start, 600ms);  // the time offsets are waited for as well
    EXPECT_THAT(sent(), ElementsAre(kIncomplete));
    EXPECT_EQ(triggerInfo->state, 1U);
    // A late answer is shown all the same.
    answer(kLocalLogger, {event(1, "late")});
    EXPECT_THAT(sent(), ElementsAre(HasSubstr("late")));
    EXPECT_EQ(triggerInfo->state, 2U);
}

TEST_F(TriggerCommands, WaitTwoSecondsOnRequestOfTheBrowser) {
    const auto start = Clock::now();
    EXPECT_EQ(run(R"({"command": "get_trigger"})"), 1);
    EXPECT_GE(Clock::now() - start, 4s);  // two for the time offsets come before
    EXPECT_THAT(sent(), ElementsAre(kIncomplete));
}

TEST_F(TriggerCommands, StopWaitingWhenEveryLoggerHasAnswered) {
    std::thread busThread([] {
        const Simple1MessageResponse<89, long long> offset(0);
        std::this_thread::sleep_for(50ms);
        handleTriggerMessages(&offset, kLocalLogger);
        while (triggerInfo->state != KSL_MSG_STATE_UPDATE) {
            std::this_thread::sleep_for(5ms);
        }
        answer(kLocalLogger, {});
    });
    const auto start = Clock::now();
    getTrigger(100);
    EXPECT_LT(Clock::now() - start, 9s);
    busThread.join();
    EXPECT_THAT(sent(), ElementsAre(HasSubstr("get_ksl_time_offset"),
                                    R"({"response":"get_trigger","markers":[],"status":"OK"})"));
}

TEST_F(TriggerCommands, ComplainAfterTheLastWaitEvenWhenTheCollectionJustBecameComplete) {
    bool cameInTheLastWait = false;
    for (int attempt = 0; attempt < 50 && !cameInTheLastWait; ++attempt) {
        triggerInfo->state = KSL_MSG_STATE_EMPTY;
        std::atomic<bool> complete{false};
        std::thread busThread([&complete] {
            while (triggerInfo->state != KSL_MSG_STATE_UPDATE) {
                std::this_thread::sleep_for(1ms);
            }
            std::this_thread::sleep_for(20ms);  // into the one wait of 100 ms
            triggerInfo->state = KSL_MSG_STATE_COMPLETE;
            complete = true;
        });
        getTrigger(1);
        const bool cameInTime = complete;
        busThread.join();
        const std::vector<std::string> answers = sent();
        // On a busy machine it may have come before the wait, or after it.
        cameInTheLastWait = cameInTime && !answers.empty();
        if (cameInTheLastWait) {
            EXPECT_THAT(answers, ElementsAre(kIncomplete));
        }
    }
    EXPECT_TRUE(cameInTheLastWait);
}

TEST_F(TriggerCommands, BeginAnewAfterABusReconnectTookTheAnswers) {
    getTrigger(0);
    network_.loseConnection();
    triggerBusReconnected();
    EXPECT_EQ(triggerInfo->state, 0U);
    getTrigger(0);
    expectOffsetRequest();
    expectListRequest();
}

TEST_F(TriggerCommands, GoOnWhenTheLossOfTheBusIsNoticedOnlyAfterThem) {
    getTrigger(0);  // lost with the connection
    network_.loseConnection();
    getTrigger(0);
    expectOffsetRequest();
    expectListRequest();
    triggerBusReconnected();
    EXPECT_EQ(triggerInfo->state, 1U);
    answer(kLocalLogger, {event(1, "a")});
    EXPECT_EQ(triggerInfo->state, 2U);
}

TEST_F(TriggerCommands, AskOneLoggerAgainAtItsGeneralService) {
    getTrigger(kOtherLogger);
    EXPECT_EQ(network_.next("KSLForwarder"),
              "ksl://0/02:00:00:00:00:02/HandheldServer " + kListRequest);
    getTrigger(kLocalLogger);
    EXPECT_EQ(network_.next("HandheldServer"), kListRequest);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(log_.logLines("getTrigger"),
                ElementsAre("[DEBUG] KLV::getTrigger() stp->krpbus_name17_KLV1 "
                            "sourceMac=02:00:00:00:00:02",
                            "[DEBUG] KLV::getTrigger() stp->krpbus_name17_KLV1 "
                            "sourceMac=02:00:00:00:00:01"));
}

TEST_F(TriggerCommands, AreHarmlessInASessionWithoutABus) {
    network_.session.setup.krpbus = nullptr;
    run(R"({"command": "set_trigger", "marker_id": "m"})");
    run(R"({"command": "get_trigger_count"})");
    getTrigger(0);
    getTrigger(kOtherLogger);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_TRUE(network_.isQuiet());
}
