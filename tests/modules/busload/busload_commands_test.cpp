#include "modules/busload/busload_commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "krpbus/signal_message.h"
#include "modules/busload/busload_module.h"
#include "tests/modules/busload/busload_samples.h"
#include "tests/modules/module_session.h"
#include "tests/support/log_capture.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Names = KRPResponseGetBusNames;

const std::string kStart = "SystemMessage [type=4] [text=75-LVStartBusload]";
const std::string kStop = "SystemMessage [type=4] [text=76-LVStopBusload]";
const std::string kToAll = "ksl://0/*/HandheldServer ";
const std::string kStarted = R"({"response":"busload_start","status":"OK"})";
const std::string kStopped = R"({"response":"busload_stop","status":"OK"})";
const std::string kNoActive =
    R"({"response":"get_bus_names","status":"ERROR","error_code":"invalid_command",)"
    R"x("error_msg":"no entry for 'active'. ({\n    \"command\": \"get_bus_names\"\n})"})x";

std::string namesRequest(const std::string& payload) {
    return "KRPMessageRequest [id=81] [name=NotSet] [payload=" + payload + "]";
}

class BusloadCommands : public testing::Test {
  protected:
    BusloadCommands() { BaseSignal::debug = 0; }

    int run(const std::string& request) { return runRequest(&wa_handle_message_busload, request); }
    // A logger's answer, as on the bus thread.
    static void answer(const std::string& logger, std::vector<Names::busName_t> buses) {
        const Names message(std::move(buses));
        EXPECT_NE(handleBusloadMessages(&message, logger), 0);
    }
    std::vector<std::string> sent() {
        std::vector<std::string> lines = network_.session.sent();
        network_.session.host.clearFrames();
        return lines;
    }
    void expectBroadcast(const std::string& message) {
        EXPECT_EQ(network_.next("HandheldServer"), message);
        EXPECT_EQ(network_.next("KSLForwarder"), kToAll + message);
    }
    // The catalogue of a single logger is complete.
    void completeCatalogue() {
        run(R"({"command": "get_bus_names", "active": 1})");
        expectBroadcast(namesRequest("01"));
        answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
        sent();
    }

    LogCapture log_;
    ModuleSession network_;
};

}  // namespace

TEST_F(BusloadCommands, LeaveOtherCommandsToOtherModules) {
    EXPECT_EQ(run(R"({"command": "get_signal_names"})"), 0);
    EXPECT_EQ(run(R"({"command": "Busload_start"})"), 0);
    EXPECT_EQ(run(R"({"command": "busload_start2"})"), 0);
    EXPECT_EQ(run(R"({"command": "busload"})"), 0);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(BusloadCommands, StartWithAnEmptyCatalogue) {
    answer(kLocalLogger, {});
    busInfo->state = BUS_NAMES_COMPLETE;
    log_.clear();
    EXPECT_EQ(busload_module_setup(nullptr), 0);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[INFO] KLV::busload_module_setup() setup busload module"));
    EXPECT_EQ(busInfo->state, 0U);
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 0);
}

TEST_F(BusloadCommands, AskAllLoggersForTheirBuses) {
    const auto start = Clock::now();
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": 0})"), 1);
    EXPECT_LT(Clock::now() - start, 1500ms);
    expectBroadcast(namesRequest("00"));
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_EQ(busInfo->state, 1U);
    EXPECT_EQ(busnamesActiveOnly, 0);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BusloadCommands, AskForTheNeighboursFirst) {
    kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
    getBusNames(static_cast<unsigned char>(1), 1);
    EXPECT_EQ(network_.next("HandheldServer"),
              "KRPMessageRequest [id=88] [name=NotSet] [payload=]");
    expectBroadcast(namesRequest("01"));
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(BusloadCommands, PassTheActiveFlagOnAsAByte) {
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": 259})"), 1);
    expectBroadcast(namesRequest("03"));
    EXPECT_EQ(busnamesActiveOnly, 3);
}

TEST_F(BusloadCommands, AskForTheBusesInUseWithoutTheFlag) {
    busnamesActiveOnly = 0;
    EXPECT_EQ(run(R"({"command": "get_bus_names"})"), 1);
    EXPECT_THAT(sent(), ElementsAre(kNoActive));
    expectBroadcast(namesRequest("01"));
    EXPECT_EQ(busnamesActiveOnly, 1);
    getBusNames(kOtherLogger);
    EXPECT_EQ(network_.next("KSLForwarder"),
              "ksl://0/" + kOtherLogger + "/HandheldServer " + namesRequest("01"));
}

TEST_F(BusloadCommands, AskForTheBusesInUseWhenTheFlagIsNoUnsignedNumber) {
    busnamesActiveOnly = 0;
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": true})"), 1);
    EXPECT_THAT(
        sent(),
        ElementsAre(
            R"({"response":"get_bus_names","status":"ERROR","error_code":"invalid_command",)"
            R"("error_msg":"value of 'active' must be a uint32 .  You send a True. . ({\n)"
            R"x(    \"command\": \"get_bus_names\",\n    \"active\": true\n})"})x"));
    expectBroadcast(namesRequest("01"));
    EXPECT_EQ(busnamesActiveOnly, 1);
}

TEST_F(BusloadCommands, WaitForAnswersThatAreOutstandingWithoutAskingAgain) {
    run(R"({"command": "get_bus_names", "active": 1})");
    expectBroadcast(namesRequest("01"));
    const auto start = Clock::now();
    getBusNames(static_cast<unsigned char>(1), 3);
    EXPECT_GE(Clock::now() - start, 300ms);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_EQ(busInfo->state, 1U);
}

TEST_F(BusloadCommands, WaitTwoSecondsOnRequestOfTheBrowser) {
    run(R"({"command": "get_bus_names", "active": 1})");
    const auto start = Clock::now();
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": 1})"), 1);
    EXPECT_GE(Clock::now() - start, 2s);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BusloadCommands, StopWaitingWhenEveryLoggerHasAnswered) {
    run(R"({"command": "get_bus_names", "active": 1})");
    std::thread busThread([] {
        std::this_thread::sleep_for(250ms);
        answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    });
    const auto start = Clock::now();
    getBusNames(static_cast<unsigned char>(1), 600);
    EXPECT_LT(Clock::now() - start, 30s);
    EXPECT_EQ(busInfo->state, 2U);
    busThread.join();
}

TEST_F(BusloadCommands, NeverAskForACompleteCatalogueAgain) {
    completeCatalogue();
    const auto start = Clock::now();
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": 0})"), 1);
    EXPECT_LT(Clock::now() - start, 1500ms);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(busnamesActiveOnly, 0);
}

TEST_F(BusloadCommands, AskAgainAfterABusReconnectTookTheAnswers) {
    run(R"({"command": "get_bus_names", "active": 1})");
    expectBroadcast(namesRequest("01"));
    busloadBusReconnected();
    EXPECT_EQ(busInfo->state, 0U);
    run(R"({"command": "get_bus_names", "active": 1})");
    expectBroadcast(namesRequest("01"));
}

TEST_F(BusloadCommands, KeepACompleteCatalogueOverABusReconnect) {
    completeCatalogue();
    busloadBusReconnected();
    EXPECT_EQ(busInfo->state, 2U);
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 1);
}

TEST_F(BusloadCommands, StartReportingAndAskForTheBuses) {
    EXPECT_EQ(run(R"({"command": "busload_start"})"), 1);
    expectBroadcast(namesRequest("01"));
    expectBroadcast(kStart);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_TRUE(busInfo->running);
    EXPECT_THAT(sent(), ElementsAre(kStarted));
}

TEST_F(BusloadCommands, AskForTheBusesInUseAtTheStartWhateverWasAskedForBefore) {
    busnamesActiveOnly = 0;
    run(R"({"command": "busload_start"})");
    expectBroadcast(namesRequest("01"));
    EXPECT_EQ(busnamesActiveOnly, 0);
}

TEST_F(BusloadCommands, ShowEveryBusWhenItsNamesArriveAfterTheStart) {
    run(R"({"command": "busload_start"})");
    sent();
    answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    EXPECT_THAT(sent(),
                ElementsAre(R"({"response":"get_bus_names","busnames":[{"bus_id":"BUSID_CAN",)"
                            R"("channel":1,"ksl_offset":0,"bus_name":"Powertrain"}],)"
                            R"("status":"OK"})",
                            R"({"response":"busload_data","timestamp":0,"data":{)"
                            R"("bus_id":"BUSID_CAN","channel":1,"ksl_offset":0,)"
                            R"("name":"Powertrain","unit":"UNIT_NONE","value":-4},)"
                            R"("status":"OK"})"));
}

TEST_F(BusloadCommands, ShowEveryBusWhenItsNamesHaveArrivedBeforeTheStart) {
    completeCatalogue();
    run(R"({"command": "busload_start"})");
    expectBroadcast(kStart);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(sent(), ElementsAre(kStarted, AllOf(HasSubstr(R"("response":"busload_data")"),
                                                    HasSubstr(R"("value":-4)"))));
    const BusLoadExtMessage message = figure(BUSID_CAN, 0, 42);
    updateBusValue(&message, kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("value":42)")));
}

TEST_F(BusloadCommands, ShowTheBusesThatAreKnownAtTheStartWhenALoggerStaysSilent) {
    knowNetwork({kOtherLogger});
    run(R"({"command": "get_bus_names", "active": 1})");
    answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("status":"PROGRESS")")));
    run(R"({"command": "busload_start"})");
    EXPECT_THAT(sent(), ElementsAre(kStarted, HasSubstr(R"("name":"Powertrain")")));
}

TEST_F(BusloadCommands, SayThatTheyAreRunningAlreadyAndShowTheValues) {
    completeCatalogue();
    run(R"({"command": "busload_start"})");
    expectBroadcast(kStart);
    const BusLoadExtMessage message = figure(BUSID_CAN, 0, 42);
    updateBusValue(&message, kLocalLogger);
    sent();
    EXPECT_EQ(run(R"({"command": "busload_start"})"), 1);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_start","status":"OK",)"
                                    R"("error_msg":"busload module is already running"})",
                                    HasSubstr(R"("value":42)")));
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(BusloadCommands, StartAnewWhileALoggerHasNotAnswered) {
    knowNetwork({kOtherLogger});
    run(R"({"command": "busload_start"})");
    expectBroadcast(namesRequest("01"));
    expectBroadcast(kStart);
    answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    sent();
    const auto start = Clock::now();
    EXPECT_EQ(run(R"({"command": "busload_start"})"), 1);
    EXPECT_GE(Clock::now() - start, 2s);
    expectBroadcast(kStart);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(sent(), ElementsAre(kStarted));
}

TEST_F(BusloadCommands, StopReportingAndTurnEveryValueUnknown) {
    completeCatalogue();
    run(R"({"command": "busload_start"})");
    expectBroadcast(kStart);
    const BusLoadExtMessage message = figure(BUSID_CAN, 0, 42);
    updateBusValue(&message, kLocalLogger);
    sent();
    log_.clear();
    EXPECT_EQ(run(R"({"command": "busload_stop"})"), 1);
    expectBroadcast(kStop);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("value":-4)"), kStopped));
    EXPECT_FALSE(busInfo->running);
    EXPECT_EQ(busInfo->state, 2U);
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 1);
    EXPECT_THAT(log_.logLines("busload_stop"),
                ElementsAre("[DEBUG] KLV::busload_stop() stopping busload module",
                            "[DEBUG] KLV::busload_stop() stop ksl busload module",
                            "[DEBUG] KLV::busload_stop() set active busses to unknown"));
}

TEST_F(BusloadCommands, ShowTheValuesAgainAfterARestart) {
    completeCatalogue();
    run(R"({"command": "busload_start"})");
    run(R"({"command": "busload_stop"})");
    sent();
    run(R"({"command": "busload_start"})");
    EXPECT_THAT(sent(), ElementsAre(kStarted, HasSubstr(R"("value":-4)")));
}

TEST_F(BusloadCommands, StopWhenTheModuleEnds) {
    busInfo->running = true;
    EXPECT_EQ(busload_module_destroy(), 0);
    expectBroadcast(kStop);
    EXPECT_FALSE(busInfo->running);
    EXPECT_THAT(sent(), ElementsAre(kStopped));
}

TEST_F(BusloadCommands, AreHarmlessInASessionWithoutABus) {
    network_.session.setup.krpbus = nullptr;
    run(R"({"command": "get_bus_names", "active": 1})");
    busloadBusReconnected();
    run(R"({"command": "busload_start"})");
    run(R"({"command": "busload_stop"})");
    getBusNames(kOtherLogger);
    EXPECT_THAT(sent(), ElementsAre(kStarted, kStopped));
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(BusloadCommands, TakeTheirLoggersForAloneWithoutANetworkRecord) {
    delete kslInfo;
    kslInfo = nullptr;
    run(R"({"command": "busload_start"})");
    sent();
    answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    EXPECT_EQ(busInfo->state, 2U);
    EXPECT_THAT(sent(), SizeIs(2));
}
