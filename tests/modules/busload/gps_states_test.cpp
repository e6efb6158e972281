#include <gmock/gmock.h>

#include "modules/busload/busload_commands.h"
#include "tests/modules/busload/busload_values_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using GpsStates = BusloadValuesFixture;

}  // namespace

TEST_F(GpsStates, GiveALoggerAGpsStateWhenItsCatalogueListsAReceiver) {
    knowNetwork({kOtherLogger});
    knowName(kOtherLogger, "Rear");
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "a")});
    know(kOtherLogger, {bus(BUSID_GPS, 1, 20, "Receiver")});
    sendInitialValues();
    const std::vector<std::string> texts = sent();
    ASSERT_THAT(texts, SizeIs(3));
    EXPECT_EQ(texts[1], R"({"response":"busload_data","timestamp":0,"logger_name":"Rear","data":{)"
                        R"("bus_id":"BUSID_GPS","channel":21,"ksl_offset":20,"name":"Receiver",)"
                        R"("unit":"UNIT_NONE","value":-4},"status":"OK"})");
    EXPECT_EQ(texts[2], R"({"response":"busload_data","timestamp":0,"data":{"channel":21,)"
                        R"("name":"GPS","gps_status":"","value":-4},"status":"OK"})");
}

TEST_F(GpsStates, ShowAGpsStateWhenItChanges) {
    know(kLocalLogger, {bus(BUSID_GPS, 0, 0, "Receiver")});
    showInitialValues();
    arrive(gpsState("V"), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":1700000000000002,)"
                                    R"("data":{"channel":1,"name":"GPS","gps_status":"V",)"
                                    R"("value":-4},"status":"OK"})"));
    arrive(gpsState("A", 5), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":5,)"
                                    R"("data":{"channel":1,"name":"GPS","gps_status":"A",)"
                                    R"("value":0},"status":"OK"})"));
    arrive(gpsState("A", 6), kLocalLogger);
    EXPECT_THAT(sent(), IsEmpty());
    arrive(gpsState("", 7), kLocalLogger);
    EXPECT_THAT(sent(), ElementsAre(R"({"response":"busload_data","timestamp":7,)"
                                    R"("data":{"channel":1,"name":"GPS","gps_status":"",)"
                                    R"("value":-4},"status":"OK"})"));
}

TEST_F(GpsStates, IgnoreTheGpsStateOfALoggerWithoutAReceiver) {
    know(kLocalLogger, {bus(BUSID_CAN, 0, 0, "a")});
    showInitialValues();
    arrive(gpsState("A"), kLocalLogger);
    arrive(gpsState("A"), kOtherLogger);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(GpsStates, ShowNothingForAnUnchangedStatusEvenAfterAStopAndAStart) {
    know(kLocalLogger, {bus(BUSID_GPS, 0, 0, "Receiver")});
    showInitialValues();
    arrive(gpsState("A"), kLocalLogger);
    busload_stop();
    busload_start();
    sent();
    arrive(gpsState("A", 5), kLocalLogger);
    EXPECT_THAT(sent(), IsEmpty());
    arrive(gpsState("V", 6), kLocalLogger);
    EXPECT_THAT(sent(), SizeIs(1));
}

TEST_F(GpsStates, MakeTheGpsStateUnknownWithoutShowingIt) {
    know(kLocalLogger, {bus(BUSID_GPS, 0, 0, "Receiver")});
    showInitialValues();
    arrive(gpsState("A"), kLocalLogger);
    sent();
    busloadSetUnknown();
    EXPECT_THAT(sent(), SizeIs(1));  // the bus of the receiver
    sendInitialValues();
    EXPECT_EQ(sent()[1], R"({"response":"busload_data","timestamp":1700000000000002,)"
                         R"("data":{"channel":1,"name":"GPS","gps_status":"A",)"
                         R"("value":-4},"status":"OK"})");
    // The status has not changed, so the fix is shown with the next change only.
    arrive(gpsState("A"), kLocalLogger);
    EXPECT_THAT(sent(), IsEmpty());
}
