#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "tests/kit/slept_time.h"
#include "tests/modules/busload/busload_commands_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using BusNamesRequest = BusloadCommandsFixture;

const std::string kNoActive =
    R"({"response":"get_bus_names","status":"ERROR","error_code":"invalid_command",)"
    R"x("error_msg":"no entry for 'active'. ({\n    \"command\": \"get_bus_names\"\n})"})x";

}  // namespace

TEST_F(BusNamesRequest, AskAllLoggersForTheirBuses) {
    const SleptTime slept;
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": 0})"), 1);
    EXPECT_EQ(slept.microseconds(), 0U);
    expectBroadcast(namesRequest("00"));
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_EQ(busInfo->state, 1U);
    EXPECT_EQ(busnamesActiveOnly, 0);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BusNamesRequest, AskForTheNeighboursFirst) {
    kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
    getBusNames(static_cast<unsigned char>(1), 1);
    EXPECT_EQ(network_.next("HandheldServer"),
              "KRPMessageRequest [id=88] [name=NotSet] [payload=]");
    expectBroadcast(namesRequest("01"));
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(BusNamesRequest, PassTheActiveFlagOnAsAByte) {
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": 259})"), 1);
    expectBroadcast(namesRequest("03"));
    EXPECT_EQ(busnamesActiveOnly, 3);
}

TEST_F(BusNamesRequest, AskForTheBusesInUseWithoutTheFlag) {
    busnamesActiveOnly = 0;
    EXPECT_EQ(run(R"({"command": "get_bus_names"})"), 1);
    EXPECT_THAT(sent(), ElementsAre(kNoActive));
    expectBroadcast(namesRequest("01"));
    EXPECT_EQ(busnamesActiveOnly, 1);
    getBusNames(kOtherLogger);
    EXPECT_EQ(network_.next("KSLForwarder"),
              "ksl://0/" + kOtherLogger + "/HandheldServer " + namesRequest("01"));
}

TEST_F(BusNamesRequest, AskForTheBusesInUseWhenTheFlagIsNoUnsignedNumber) {
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

TEST_F(BusNamesRequest, WaitForAnswersThatAreOutstandingWithoutAskingAgain) {
    run(R"({"command": "get_bus_names", "active": 1})");
    expectBroadcast(namesRequest("01"));
    const auto start = Clock::now();
    getBusNames(static_cast<unsigned char>(1), 3);
    EXPECT_GE(Clock::now() - start, 300ms);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_EQ(busInfo->state, 1U);
}

TEST_F(BusNamesRequest, WaitTwoSecondsOnRequestOfTheBrowser) {
    run(R"({"command": "get_bus_names", "active": 1})");
    const auto start = Clock::now();
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": 1})"), 1);
    EXPECT_GE(Clock::now() - start, 2s);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BusNamesRequest, StopWaitingWhenEveryLoggerHasAnswered) {
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

TEST_F(BusNamesRequest, NeverAskForACompleteCatalogueAgain) {
    completeCatalogue();
    const SleptTime slept;
    EXPECT_EQ(run(R"({"command": "get_bus_names", "active": 0})"), 1);
    EXPECT_EQ(slept.microseconds(), 0U);
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(busnamesActiveOnly, 0);
}

TEST_F(BusNamesRequest, AskAgainAfterABusReconnectTookTheAnswers) {
    run(R"({"command": "get_bus_names", "active": 1})");
    network_.loseConnection();
    busloadBusReconnected();
    EXPECT_EQ(busInfo->state, 0U);
    run(R"({"command": "get_bus_names", "active": 1})");
    expectBroadcast(namesRequest("01"));
}

TEST_F(BusNamesRequest, GoOnWhenTheLossOfTheBusIsNoticedOnlyAfterThem) {
    getBusNames(static_cast<unsigned char>(1), 0);  // lost with the connection
    network_.loseConnection();
    getBusNames(static_cast<unsigned char>(1), 0);
    expectBroadcast(namesRequest("01"));
    busloadBusReconnected();
    EXPECT_EQ(busInfo->state, 1U);
    answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    EXPECT_EQ(busInfo->state, 2U);
}

TEST_F(BusNamesRequest, KeepACompleteCatalogueOverABusReconnect) {
    completeCatalogue();
    network_.loseConnection();
    busloadBusReconnected();
    EXPECT_EQ(busInfo->state, 2U);
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 1);
}
