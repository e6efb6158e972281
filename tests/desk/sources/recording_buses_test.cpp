#include "desk/sources/recording_buses.h"

#include <gmock/gmock.h>

#include "tests/desk/sources/recording_text.h"

using desk::BusReading;
using desk::Recording;
using desk::RecordingBuses;
using std::chrono::microseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

TEST(ReadRecordedLoads, KeepsThemApartFromTheSignals) {
    const Recording recording = recordingOf(
        "time,Speed [km/h],BUSID_CAN 2 Power train [UNIT_PERCENT],Gear,"
        "BUSID_MII 256 x\n0,1.5,42,R,\n1,2,-2,,2147483647\n");

    ASSERT_EQ(recording.signals.size(), 2U);
    EXPECT_EQ(recording.signals[1].name, "Gear");
    EXPECT_THAT(recording.rows[0].values, ElementsAre("1.5", "R"));
    ASSERT_EQ(recording.buses.size(), 2U);
    EXPECT_EQ(recording.buses[0].id, BUSID_CAN);
    EXPECT_EQ(recording.buses[0].channel, 1);
    EXPECT_EQ(recording.buses[0].name, "Power train");
    EXPECT_EQ(recording.buses[0].unit, BusLoadExtMessage::UNIT_PERCENT);
    EXPECT_EQ(recording.buses[1].id, BUSID_MII);
    EXPECT_EQ(recording.buses[1].channel, 255);
    EXPECT_EQ(recording.buses[1].unit, BusLoadExtMessage::UNIT_NONE);
    EXPECT_THAT(recording.rows[0].loads, ElementsAre(42, std::nullopt));
    EXPECT_THAT(recording.rows[1].loads, ElementsAre(-2, 2147483647));
}

TEST(ReadRecordedLoads, TakesEveryOtherTitleForASignals) {
    const Recording recording =
        recordingOf("time,BUSID_CAN,BUSID_UNKNOWN 1 a,BUSID_WARP 1 b,busid_can 1 c\n0,1,2,3,4\n");
    EXPECT_EQ(recording.signals.size(), 4U);
    EXPECT_THAT(recording.buses, IsEmpty());
    EXPECT_THAT(recording.rows[0].loads, IsEmpty());
}

TEST(ReadRecordedLoads, SaysWhatIsWrongAndWhere) {
    const auto titleError = [](const std::string& title) {
        return " line 1: \"" + title + "\" is no bus: there must be its kind, channel and name";
    };
    for (const std::string title :
         {"BUSID_CAN x a", "BUSID_CAN 0 a", "BUSID_CAN 257 a", "BUSID_CAN 1", "BUSID_CAN 1 ",
          "BUSID_CAN 1a", "BUSID_CAN -1 a", "BUSID_CAN  1 a"}) {
        EXPECT_EQ(errorOf("time," + title + "\n0,1\n"), titleError(title));
    }
    EXPECT_EQ(errorOf("time,BUSID_CAN 1 a [%]\n0,1\n"), " line 1: \"%\" is no unit of a load");
    EXPECT_EQ(errorOf("time,BUSID_CAN 1 a,BUSID_CAN 1 b\n0,1,2\n"),
              " line 1: two columns are of BUSID_CAN 1");
    EXPECT_EQ(errorOf("time,BUSID_CAN 1 a\n0,1.5\n"),
              " line 2: \"1.5\" is no load, which is a whole number");
    EXPECT_EQ(errorOf("time,BUSID_CAN 1 a\n0,2147483648\n"),
              " line 2: \"2147483648\" is no load, which is a whole number");
    EXPECT_EQ(errorOf("time,BUSID_CAN 1 a,b\n0,1\n"), " line 2: there must be 2 values, not 1");
}

class RecordingBusesTest : public testing::Test {
  protected:
    void open(const std::string& text) {
        buses =
            std::make_unique<RecordingBuses>(std::make_shared<const Recording>(recordingOf(text)));
        buses->begin();
    }
    // The loads at this time, "bus=load".
    std::vector<std::string> at(microseconds time) {
        std::vector<BusReading> readings;
        buses->read(time, readings);
        std::vector<std::string> lines;
        for (const BusReading& reading : readings) {
            EXPECT_EQ(reading.unit, BusLoadExtMessage::UNIT_KBYTES_SEC);
            lines.push_back(buses->buses()[reading.bus].name.name + "=" +
                            std::to_string(reading.value));
        }
        return lines;
    }

    std::unique_ptr<RecordingBuses> buses;
};

const std::string kTwoBuses =
    "time,BUSID_CAN 1 a [UNIT_KBYTES_SEC],s,BUSID_LIN 3 b [UNIT_KBYTES_SEC]\n"
    "7,1,x,\n7.5,2,x,10\n8.5,,x,11\n";

TEST_F(RecordingBusesTest, OffersTheRecordingsBuses) {
    open(kTwoBuses);
    ASSERT_EQ(buses->buses().size(), 2U);
    EXPECT_EQ(buses->buses()[1].name, (KRPResponseGetBusNames::busName_t{BUSID_LIN, 2, 0, "b"}));
    EXPECT_TRUE(buses->buses()[1].inUse);
    EXPECT_FALSE(buses->readGps(1s).has_value());
}

TEST_F(RecordingBusesTest, HasNoBusesInARecordingOfSignals) {
    open("time,a\n0,1\n");
    EXPECT_THAT(buses->buses(), IsEmpty());
    EXPECT_THAT(at(10s), IsEmpty());
}

TEST_F(RecordingBusesTest, GivesTheNewestLoadOfEachBusInALoop) {
    open(kTwoBuses);
    EXPECT_THAT(at(0s), ElementsAre("a=1"));
    EXPECT_THAT(at(499ms), ElementsAre("a=1"));
    EXPECT_THAT(at(500ms), ElementsAre("a=2", "b=10"));
    EXPECT_THAT(at(2s), ElementsAre("a=2", "b=11"));
    // As much time as between the last two rows lies between the rounds.
    EXPECT_THAT(at(2499ms), ElementsAre("a=2", "b=11"));
    EXPECT_THAT(at(2500ms), ElementsAre("a=1", "b=11"));
    EXPECT_THAT(at(3s), ElementsAre("a=2", "b=10"));
    buses->begin();
    EXPECT_THAT(at(0s), ElementsAre("a=1"));
}

TEST_F(RecordingBusesTest, SkipsRoundsThatNobodySaw) {
    open(kTwoBuses);
    at(0s);
    EXPECT_THAT(at(2500ms * 1000000000LL + 600ms), ElementsAre("a=2", "b=10"));
    EXPECT_THAT(at(2500ms * 1000000001LL), ElementsAre("a=1", "b=11"));
}

TEST_F(RecordingBusesTest, PlaysASingleRow) {
    open("time,BUSID_CAN 1 a [UNIT_KBYTES_SEC]\n3,5\n");
    EXPECT_THAT(at(0s), ElementsAre("a=5"));
    EXPECT_THAT(at(5s), ElementsAre("a=5"));
}

}  // namespace
