#include "desk/sources/drive_signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "krpbus/messages/signal_message.h"

using desk::DriveModel;
using desk::DriveSignals;
using desk::DriveState;
using desk::SignalConfig;
using desk::SignalReading;
using namespace std::chrono_literals;

namespace {

TEST(DriveModel, GivesTheSameStateForTheSameTime) {
    EXPECT_EQ(DriveModel::at(37s).speed, DriveModel::at(37s).speed);
    EXPECT_EQ(DriveModel::at(37s).distance, DriveModel::at(37s).distance);
}

TEST(DriveModel, MovesLikeAVehicle) {
    DriveState before = DriveModel::at(0s);
    double fastest = 0.0;
    for (auto time = 100ms; time < 5min; time += 100ms) {
        const DriveState state = DriveModel::at(time);
        ASSERT_LE(std::abs(state.speed - before.speed), 1.0) << time.count();
        ASSERT_NEAR(state.distance - before.distance, (state.speed + before.speed) / 72.0, 0.02)
            << time.count();
        ASSERT_TRUE(state.speed >= 0.0 && state.gear <= 6 && state.engineSpeed >= 700.0 &&
                    state.engineSpeed <= 6000.0)
            << time.count();
        ASSERT_TRUE(state.accelerator == 0.0 || state.brakePressure == 0.0) << time.count();
        fastest = std::max(fastest, state.speed);
        before = state;
    }
    EXPECT_GT(fastest, 120.0);
    EXPECT_GT(DriveModel::at(10min).coolant, 85.0);
}

TEST(DriveSignals, OffersSignalsOfAllKindsOnFourKindsOfBuses) {
    const DriveSignals drive;
    std::set<std::string> names;
    std::set<busid_t> buses;
    int withTable = 0;
    int texts = 0;
    for (const SignalConfig& config : drive.signals()) {
        names.insert(config.webappName);
        buses.insert(config.busId);
        withTable += config.valueDescriptionTable.empty() ? 0 : 1;
        texts += config.valueType == SIGNALVALUE_STRING ? 1 : 0;
        EXPECT_FALSE(config.instanceName.empty());
        EXPECT_FALSE(config.userName.empty());
    }
    EXPECT_GE(names.size(), 24U);
    EXPECT_EQ(names.size(), drive.signals().size());
    EXPECT_EQ(buses, (std::set{BUSID_CAN, BUSID_FLEXRAY, BUSID_LIN, BUSID_ETHERNET}));
    EXPECT_GE(withTable, 3);
    EXPECT_GE(texts, 2);
}

TEST(DriveSignals, ReadsEverySignalOnceInOrder) {
    DriveSignals drive;
    for (auto time = 0s; time < 4min; time += 1s) {
        std::vector<SignalReading> readings;
        EXPECT_FALSE(drive.read(time, readings).has_value());
        ASSERT_EQ(readings.size(), drive.signals().size());
        for (std::size_t i = 0; i < readings.size(); ++i) {
            const SignalConfig& config = drive.signals()[i];
            EXPECT_EQ(readings[i].signal, i);
            EXPECT_FALSE(readings[i].value.empty()) << config.webappName;
            if (!config.valueDescriptionTable.empty()) {
                EXPECT_EQ(readings[i].descr, config.valueDescriptionTable.at(readings[i].raw))
                    << config.webappName;
                EXPECT_EQ(readings[i].value, std::to_string(readings[i].raw));
            }
        }
    }
}

TEST(DriveSignals, ChangeWhileTheVehicleDrives) {
    DriveSignals drive;
    std::vector<SignalReading> first;
    std::vector<SignalReading> later;
    drive.read(5s, first);
    drive.read(70s, later);
    EXPECT_NE(first[0].value, later[0].value);
}

}  // namespace
