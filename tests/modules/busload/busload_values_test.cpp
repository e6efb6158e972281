#include <gmock/gmock.h>

#include <limits>

#include "krpbus/messages/router_message.h"
#include "modules/busload/busload_module.h"
#include "tests/modules/busload/busload_values_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using BusloadValues = BusloadValuesFixture;

}  // namespace

TEST_F(BusloadValues, ShowsEveryBusOfTheCatalogueAsUnknownAtFirst) {
    know(kLocalLogger, {bus(BUSID_LIN, 1, 0, "Doors"), bus(BUSID_CAN, 0, 0, "Powertrain")});
    sendInitialValues();
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":0,"data":{)"
                                    R"("bus_id":"BUSID_LIN","channel":2,"ksl_offset":0,)"
                                    R"("name":"Doors","unit":"UNIT_NONE","value":-4},)"
                                    R"("status":"OK"})",
                                    R"({"response":"busload_data","timestamp":0,"data":{)"
                                    R"("bus_id":"BUSID_CAN","channel":1,"ksl_offset":0,)"
                                    R"("name":"Powertrain","unit":"UNIT_NONE","value":-4},)"
                                    R"("status":"OK"})"));
}

TEST_F(BusloadValues, ShowsNothingWithoutACatalogue) {
    sendInitialValues();
    sendBusValues();
    busloadSetUnknown();
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BusloadValues, ShowsAFigureWithItsTimeAndUnit) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    showInitialValues();
    arrive(figure(BUSID_CAN, 0, 42, BusLoadExtMessage::UNIT_KBYTES_SEC, 18446744073709551615U),
           kLocalLogger);
    EXPECT_THAT(sent(),
                ElementsAre(R"({"response":"busload_data","timestamp":18446744073709551615,)"
                            R"("data":{"bus_id":"BUSID_CAN","channel":1,"ksl_offset":0,)"
                            R"("name":"Powertrain","unit":"UNIT_KBYTES_SEC","value":42},)"
                            R"("status":"OK"})"));
}

TEST_F(BusloadValues, ShowsOneMessageForTwoEqualFigures) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    showInitialValues();
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    arrive(figure(BUSID_CAN, 0, 42, BusLoadExtMessage::UNIT_GBYTES, 7), kLocalLogger);
    EXPECT_THAT(sent(), SizeIs(1));
    // The second one was not stored either.
    sendBusValues();
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":1700000000000001,)"
                                    R"("data":{"bus_id":"BUSID_CAN","channel":1,"ksl_offset":0,)"
                                    R"("name":"Powertrain","unit":"UNIT_PERCENT","value":42},)"
                                    R"("status":"OK"})"));
}

TEST_F(BusloadValues, ShowsNegativeAndLargestFigures) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    showInitialValues();
    for (const std::int32_t value : {std::numeric_limits<std::int32_t>::max(),
                                     std::numeric_limits<std::int32_t>::min(), -1, -2}) {
        arrive(figure(BUSID_CAN, 0, value), kLocalLogger);
        EXPECT_EQ(session_.host.json(0)["data"]["value"].GetInt(), value);
        EXPECT_THAT(sent(), SizeIs(1));
    }
}

TEST_F(BusloadValues, DropsFiguresOfUnknownLoggersBusesAndChannels) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    showInitialValues();
    arrive(figure(BUSID_CAN, 0, 42), kOtherLogger);
    arrive(figure(BUSID_CAN, 1, 42), kLocalLogger);
    arrive(figure(BUSID_LIN, 0, 42), kLocalLogger);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_THAT(log_.logLines(), IsEmpty());
}

TEST_F(BusloadValues, DropsFiguresUntilTheInitialValuesWereSent) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BusloadValues, TakesTheBusesOfTheCatalogueOverWithoutShowingThem) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    showInitialValues();
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    sent();
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain"), bus(BUSID_LIN, 0, 0, "Doors")});
    addCatalogueBuses();
    EXPECT_THAT(sent(), IsEmpty());
    arrive(figure(BUSID_LIN, 0, 7), kLocalLogger);
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(testing::HasSubstr(R"("name":"Doors")")));
}

TEST_F(BusloadValues, ShowsBusesAndUnitsWithoutATextOfTheirOwn) {
    know(kLocalLogger,
         {bus(static_cast<busid_t>(15), 0, 0, "a"), bus(static_cast<busid_t>(200), 0, 0, "b")});
    showInitialValues();
    const auto unit = static_cast<BusLoadExtMessage::unit_t>(12);
    arrive(figure(static_cast<busid_t>(200), 0, 7, unit), kLocalLogger);
    arrive(figure(static_cast<busid_t>(15), 0, 8, unit), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":1700000000000001,)"
                                    R"("data":{"bus_id":"BUSID_UNKNOWN","channel":1,)"
                                    R"("ksl_offset":0,"name":"b","unit":"UNIT_NONE","value":7},)"
                                    R"("status":"OK"})",
                                    R"({"response":"busload_data","timestamp":1700000000000001,)"
                                    R"("data":{"bus_id":"BUSID_UNKNOWN","channel":1,)"
                                    R"("ksl_offset":0,"name":"a","unit":"UNIT_NONE","value":8},)"
                                    R"("status":"OK"})"));
}

TEST_F(BusloadValues, NamesTheLoggerOfANetworkMembersBus) {
    knowNetwork({kOtherLogger});
    knowName(kOtherLogger, "Rear \"left\"");
    know(kOtherLogger, {bus(BUSID_CAN, 255, 20, "Chassis")});
    showInitialValues();
    arrive(figure(BUSID_CAN, 255, 3), kOtherLogger);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":1700000000000001,)"
                                    R"("logger_name":"Rear \"left\"","data":{)"
                                    R"("bus_id":"BUSID_CAN","channel":275,"ksl_offset":20,)"
                                    R"("name":"Chassis","unit":"UNIT_PERCENT","value":3},)"
                                    R"("status":"OK"})"));
    EXPECT_THAT(log_.logLines(), IsEmpty());
}

TEST_F(BusloadValues, NamesTheLoggerOfALocalMostBus) {
    knowName(kLocalLogger, "Front");
    know(kLocalLogger, {bus(BUSID_MOST25, 0, 0, "a"), bus(BUSID_MOST50, 0, 0, "b"),
                        bus(BUSID_MOST150, 0, 0, "c")});
    sendInitialValues();
    const std::vector<std::string> texts = sent();
    ASSERT_THAT(texts, SizeIs(3));
    EXPECT_EQ(texts[0], R"({"response":"busload_data","timestamp":0,"logger_name":"Front","data":{)"
                        R"("bus_id":"BUSID_MOST25","channel":1,"ksl_offset":0,"name":"a",)"
                        R"("unit":"UNIT_NONE","value":-4},"status":"OK"})");
    EXPECT_THAT(texts[1], testing::HasSubstr(R"("logger_name":"Front")"));
    EXPECT_THAT(texts[2], testing::HasSubstr(R"("logger_name":"Front")"));
}

TEST_F(BusloadValues, LeavesOutALoggerNameThatIsNotKnown) {
    knowNetwork({kOtherLogger});
    know(kOtherLogger, {bus(BUSID_CAN, 0, 20, "Chassis")});
    sendInitialValues();
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":0,"data":{)"
                                    R"("bus_id":"BUSID_CAN","channel":20,"ksl_offset":20,)"
                                    R"("name":"Chassis","unit":"UNIT_NONE","value":-4},)"
                                    R"("status":"OK"})"));
    EXPECT_THAT(log_.logLines("WaResponseBusload"),
                ElementsAre("[ERROR] KLV::WaResponseBusload() no logger_name=02:00:00:00:00:02"));
}

TEST_F(BusloadValues, ShowsTheEmptyNameOfALoggerThatIsKnown) {
    knowNetwork({kOtherLogger});
    knowName(kOtherLogger, "");
    know(kOtherLogger, {bus(BUSID_CAN, 0, 20, "Chassis")});
    sendInitialValues();
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":0,)"
                                    R"("logger_name":"","data":{)"
                                    R"("bus_id":"BUSID_CAN","channel":20,"ksl_offset":20,)"
                                    R"("name":"Chassis","unit":"UNIT_NONE","value":-4},)"
                                    R"("status":"OK"})"));
    EXPECT_THAT(log_.logLines(), IsEmpty());
}

TEST_F(BusloadValues, AreDroppedWithALineOfTheLogWhenTheirSessionHasGone) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain"), bus(BUSID_GPS, 0, 0, "Receiver")});
    showInitialValues();
    session_.setup.socket = nullptr;
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    arrive(figure(BUSID_MOST25, 0, 42), kLocalLogger);
    arrive(gpsState("A"), kLocalLogger);
    const std::string line = "[DEBUG] KLV::sendMessage() Invalid server";
    EXPECT_THAT(log_.logLines("sendMessage"), ElementsAre(line, line, line));
    EXPECT_THAT(log_.logLines("sendWebsocketMessage"), IsEmpty());
}

TEST_F(BusloadValues, ShowsBusesWithoutANetworkRecord) {
    know(kOtherLogger, {bus(BUSID_CAN, 0, 20, "Chassis")});
    delete kslInfo;
    kslInfo = nullptr;
    sendInitialValues();
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":0,"data":{)"
                                    R"("bus_id":"BUSID_CAN","channel":1,"ksl_offset":20,)"
                                    R"("name":"Chassis","unit":"UNIT_NONE","value":-4},)"
                                    R"("status":"OK"})"));
}

TEST_F(BusloadValues, SendsAllValuesInTheOrderOfLoggerBusAndChannel) {
    know(kOtherLogger, {bus(BUSID_CAN, 0, 0, "d")});
    know(kLocalLogger,
         {bus(BUSID_LIN, 0, 0, "c"), bus(BUSID_CAN, 1, 0, "b"), bus(BUSID_CAN, 0, 0, "a")});
    showInitialValues();
    sendBusValues();
    std::string names;
    for (std::size_t i = 0; i < session_.host.texts().size(); ++i) {
        names += session_.host.json(i)["data"]["name"].GetString();
    }
    EXPECT_EQ(names, "abcd");
}

TEST_F(BusloadValues, ShowsABusAsItStandsWhenTheCatalogueComesAgain) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
    showInitialValues();
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    sent();
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "renamed"), bus(BUSID_CAN, 1, 0, "new")});
    sendInitialValues();
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":1700000000000001,)"
                                    R"("data":{"bus_id":"BUSID_CAN","channel":1,"ksl_offset":0,)"
                                    R"("name":"Powertrain","unit":"UNIT_PERCENT","value":42},)"
                                    R"("status":"OK"})",
                                    R"({"response":"busload_data","timestamp":0,"data":{)"
                                    R"("bus_id":"BUSID_CAN","channel":2,"ksl_offset":0,)"
                                    R"("name":"new","unit":"UNIT_NONE","value":-4},)"
                                    R"("status":"OK"})"));
}

TEST_F(BusloadValues, TurnsEveryValueUnknownButTheMarker) {
    know(kLocalLogger,
         {bus(BUSID_CAN, 0, 0, "a"), bus(BUSID_CAN, 1, 0, "b"), bus(BUSID_CAN, 2, 0, "c")});
    showInitialValues();
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    arrive(figure(BUSID_CAN, 1, -2), kLocalLogger);
    sent();
    busloadSetUnknown();
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":1700000000000001,)"
                                    R"("data":{"bus_id":"BUSID_CAN","channel":1,"ksl_offset":0,)"
                                    R"("name":"a","unit":"UNIT_PERCENT","value":-4},)"
                                    R"("status":"OK"})",
                                    R"({"response":"busload_data","timestamp":0,)"
                                    R"("data":{"bus_id":"BUSID_CAN","channel":3,"ksl_offset":0,)"
                                    R"("name":"c","unit":"UNIT_NONE","value":-4},)"
                                    R"("status":"OK"})"));
    sendBusValues();
    EXPECT_EQ(session_.host.json(1)["data"]["value"].GetInt(), -2);
    session_.host.clearFrames();
    // The marker becomes unknown with the next initial values.
    sendInitialValues();
    EXPECT_EQ(session_.host.json(1)["data"]["value"].GetInt(), -4);
}

TEST_F(BusloadValues, ComeBackWithTheNextFigureAfterAStop) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "a")});
    showInitialValues();
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    busloadSetUnknown();
    sent();
    arrive(figure(BUSID_CAN, 0, 42), kLocalLogger);
    ASSERT_EQ(session_.host.texts().size(), 1U);
    EXPECT_EQ(session_.host.json(0)["data"]["value"].GetInt(), 42);
}

TEST_F(BusloadValues, ReplaceIllFormedBytesInNames) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "a\xff")});
    sendInitialValues();
    EXPECT_EQ(std::string(session_.host.json(0)["data"]["name"].GetString()), "a\xef\xbf\xbd");
}

TEST_F(BusloadValues, TakeAForwardedFigureThatIsStillWrapped) {
    know(kOtherLogger, {bus(BUSID_CAN, 0, 0, "a")});
    showInitialValues();
    const RouterMessage wrapped("ksl://0/02:00:00:00:00:02/HandheldServer", "17_KLV1",
                                figure(BUSID_CAN, 0, 42).clone());
    EXPECT_NE(handleBusloadMessages(&wrapped, kOtherLogger), 0);
    EXPECT_THAT(sent(), SizeIs(1));
}
