#include "desk/sources/drive_buses.h"

#include <gmock/gmock.h>

#include <map>
#include <set>

#include "desk/sources/drive_signals.h"

using desk::BusReading;
using desk::DriveBuses;
using namespace std::chrono_literals;
using testing::Contains;

namespace {

using Message = BusLoadExtMessage;

TEST(DriveBuses, HasABusOfEachKind) {
    const DriveBuses drive;
    std::map<busid_t, int> kinds;
    for (const desk::Bus& bus : drive.buses()) {
        ++kinds[bus.name.busId];
        EXPECT_EQ(bus.name.kslOffset, 0);
    }
    EXPECT_EQ(kinds[BUSID_CAN], 3);
    for (const busid_t kind :
         {BUSID_LIN, BUSID_FLEXRAY, BUSID_ETHERNET, BUSID_MOST150, BUSID_GPS}) {
        EXPECT_EQ(kinds[kind], 1) << kind;
    }
}

TEST(DriveBuses, HasTheBusesThatItsSignalsComeFrom) {
    const DriveBuses drive;
    const desk::DriveSignals signals;
    std::set<std::pair<busid_t, int>> places;
    for (const desk::Bus& bus : drive.buses()) {
        places.insert({bus.name.busId, bus.name.channel});
    }
    for (const desk::SignalConfig& config : signals.signals()) {
        EXPECT_THAT(places, Contains(std::pair(config.busId, int{config.channel})))
            << config.webappName;
    }
}

TEST(DriveBuses, GivesALoadOfEveryBusInUseAndOfNoOther) {
    DriveBuses drive;
    std::vector<BusReading> readings;
    drive.read(10s, readings);
    std::set<std::size_t> read;
    for (const BusReading& reading : readings) {
        EXPECT_TRUE(drive.buses()[reading.bus].inUse);
        read.insert(reading.bus);
        EXPECT_EQ(reading.most.has_value(), drive.buses()[reading.bus].name.busId == BUSID_MOST150);
    }
    EXPECT_EQ(read.size(), readings.size());
    EXPECT_EQ(read.size(), drive.buses().size() - 1);
}

TEST(DriveBuses, GivesPercentagesThatMove) {
    DriveBuses drive;
    std::map<std::size_t, std::set<std::int32_t>> values;
    for (auto time = 0s; time < 240s; time += 1s) {
        std::vector<BusReading> readings;
        drive.read(time, readings);
        for (const BusReading& reading : readings) {
            EXPECT_GE(reading.value, 0);
            if (reading.unit == Message::UNIT_PERCENT) {
                EXPECT_LE(reading.value, 100);
                values[reading.bus].insert(reading.value);
            }
        }
    }
    EXPECT_EQ(values.size(), 5U);
    for (const auto& [bus, seen] : values) {
        EXPECT_GT(seen.size(), 5U) << drive.buses()[bus].name.name;
    }
}

TEST(DriveBuses, LosesTheLocksOfTheRingForAWhile) {
    DriveBuses drive;
    std::set<std::tuple<int, int, bool>> states;
    for (auto time = 0s; time < 60s; time += 1s) {
        std::vector<BusReading> readings;
        drive.read(time, readings);
        for (const BusReading& reading : readings) {
            if (reading.most) {
                states.insert(
                    {reading.most->lock, reading.most->masterLock, reading.most->traffic});
            }
        }
    }
    EXPECT_THAT(states, testing::ElementsAre(std::tuple(0, 0, false), std::tuple(1, 1, true),
                                             std::tuple(2, 1, true), std::tuple(2, 2, true)));
}

TEST(DriveBuses, HasAFixThatComesAndGoes) {
    DriveBuses drive;
    EXPECT_FALSE(drive.readGps(0s)->hasFix);
    EXPECT_FALSE(drive.readGps(2999ms)->hasFix);
    EXPECT_TRUE(drive.readGps(3s)->hasFix);
    EXPECT_TRUE(drive.readGps(39s)->hasFix);
    EXPECT_FALSE(drive.readGps(40s)->hasFix);
    EXPECT_FALSE(drive.readGps(47s)->hasFix);
    EXPECT_TRUE(drive.readGps(48s)->hasFix);
    EXPECT_FALSE(drive.readGps(100s)->hasFix);
}

}  // namespace
