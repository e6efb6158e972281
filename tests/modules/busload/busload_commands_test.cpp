#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "tests/kit/after_first_send.h"
#include "tests/modules/busload/busload_commands_fixture.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using BusloadCommands = BusloadCommandsFixture;

const std::string kStart = "SystemMessage [type=4] [text=75-LVStartBusload]";
const std::string kStop = "SystemMessage [type=4] [text=76-LVStopBusload]";
const std::string kStarted = R"({"response":"busload_start","status":"OK"})";
const std::string kStopped = R"({"response":"busload_stop","status":"OK"})";

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
    busInfo->state = KSL_MSG_STATE_COMPLETE;
    log_.clear();
    EXPECT_EQ(busload_module_setup(nullptr), 0);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[INFO] KLV::busload_module_setup() setup busload module"));
    EXPECT_EQ(busInfo->state, 0U);
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 0);
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

TEST_F(BusloadCommands, KeepTheFirstFiguresThatComeBeforeTheInitialValuesAreSent) {
    run(R"({"command": "get_bus_names", "active": 1})");
    answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain"), bus(BUSID_GPS, 0, 0, "Receiver")});
    sent();
    {
        const AfterFirstSend afterTheReply(network_.session.host, [] {
            const BusLoadExtMessage load = figure(BUSID_CAN, 0, 42);
            updateBusValue(&load, kLocalLogger);
            const GPSTraceMessage gps = gpsState("A");
            updateBusValueGps(&gps, kLocalLogger);
        });
        run(R"({"command": "busload_start"})");
    }
    EXPECT_THAT(sent(),
                ElementsAre(kStarted,
                            HasSubstr(R"("name":"Powertrain","unit":"UNIT_)"
                                      R"(PERCENT","value":42)"),
                            HasSubstr(R"("gps_status":"A","value":0)"), HasSubstr(R"("value":42)"),
                            HasSubstr(R"("name":"Receiver","unit":"UNIT_NONE","value":-4)"),
                            HasSubstr(R"("gps_status":"A","value":0)")));
}

TEST_F(BusloadCommands, HaveTheBusesReadyBeforeTheLoggersAreTold) {
    completeCatalogue();
    sendInitialValues();
    std::thread start;
    // The values are held while they are sent: the start can make its own ready only then.
    const AfterFirstSend whileTheyAreSent(network_.session.host, [&] {
        start = std::thread([&] { run(R"({"command": "busload_start"})"); });
        EXPECT_TRUE(network_.isLeftAlone("HandheldServer", 300ms));
    });
    sendBusValues();
    start.join();
    expectBroadcast(kStart);
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

TEST_F(BusloadCommands, ShowAFigureThatWasOnItsWayWhenTheyStopped) {
    completeCatalogue();
    run(R"({"command": "busload_start"})");
    run(R"({"command": "busload_stop"})");
    sent();
    const BusLoadExtMessage message = figure(BUSID_CAN, 0, 42);
    updateBusValue(&message, kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("value":42)")));
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
