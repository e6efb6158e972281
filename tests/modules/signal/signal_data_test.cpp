#include "modules/signal/signal_data.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

template <class T>
std::string printed(const T& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

SignalData everyField() {
    return SignalData(11, "Speed", "CAN1.Speed", "02:00:00:00:00:01", "km/h", "12.5", 25, 12.25,
                      "driving", {{0, "standing"}, {18446744073709551615U, "broken"}}, "my speed",
                      BUSID_CAN, 'C', 'K', SIGNALVALUE_DOUBLE, 0.5, -1.0, true, true, 100);
}

TEST(SignalDataTest, TakesItsTwentyValuesInTheOrderOfItsFields) {
    const SignalData signal = everyField();

    EXPECT_EQ(signal.timestamp, 11U);
    EXPECT_EQ(signal.webappName, "Speed");
    EXPECT_EQ(signal.instanceName, "CAN1.Speed");
    EXPECT_EQ(signal.MAC, "02:00:00:00:00:01");
    EXPECT_EQ(signal.unit, "km/h");
    EXPECT_EQ(signal.value, "12.5");
    EXPECT_EQ(signal.raw, 25U);
    EXPECT_EQ(signal.phys, 12.25);
    EXPECT_EQ(signal.descr, "driving");
    EXPECT_EQ(signal.valueDescriptionTable.at(0), "standing");
    EXPECT_EQ(signal.userName, "my speed");
    EXPECT_EQ(signal.busId, BUSID_CAN);
    EXPECT_EQ(signal.channel, 'C');
    EXPECT_EQ(signal.kslOffset, 'K');
    EXPECT_EQ(signal.valueType, SIGNALVALUE_DOUBLE);
    EXPECT_EQ(signal.scale, 0.5);
    EXPECT_EQ(signal.offset, -1.0);
    EXPECT_TRUE(signal.active);
    EXPECT_TRUE(signal.valid);
    EXPECT_EQ(signal.interval, 100U);
}

TEST(SignalDataTest, IsEmptyByDefault) {
    const SignalData signal;

    EXPECT_EQ(signal.timestamp, 0U);
    EXPECT_EQ(signal.webappName, "");
    EXPECT_EQ(signal.instanceName, "");
    EXPECT_EQ(signal.MAC, "");
    EXPECT_EQ(signal.unit, "");
    EXPECT_EQ(signal.value, "");
    EXPECT_EQ(signal.raw, 0U);
    EXPECT_EQ(signal.phys, 0.0);
    EXPECT_EQ(signal.descr, "");
    EXPECT_TRUE(signal.valueDescriptionTable.empty());
    EXPECT_EQ(signal.userName, "");
    EXPECT_EQ(signal.busId, BUSID_UNKNOWN);
    EXPECT_EQ(signal.channel, 0);
    EXPECT_EQ(signal.kslOffset, 0);
    EXPECT_EQ(signal.valueType, SIGNALVALUE_UNKNOWN);
    EXPECT_EQ(signal.scale, 0.0);
    EXPECT_EQ(signal.offset, 0.0);
    EXPECT_FALSE(signal.active);
    EXPECT_FALSE(signal.valid);
    EXPECT_EQ(signal.interval, 0U);
}

TEST(SignalDataTest, PrintsAsOneLineWithItsChannelsAsCharacters) {
    EXPECT_EQ(
        printed(everyField()),
        "  SIGNAL      | [instanceName=CAN1.Speed] [webappName=Speed] [MAC=02:00:00:00:00:01] "
        "[unit=km/h] [value=12.5] [raw=25] [phys=12.25] [descr=driving] [userName=my speed] "
        "[busId=BUSID_CAN] [channel=C] [kslOffset=K] [valueType=SIGNALVALUE_DOUBLE] [scale=0.5] "
        "[offset=-1] [valueDescriptionTable= [value=0] [valueDescription=standing]"
        "[value=18446744073709551615] [valueDescription=broken]] [active=1] [valid=1] "
        "[interval=100]");
}

TEST(SignalDataTest, PrintsAnEmptyRecord) {
    using namespace std::string_literals;
    EXPECT_EQ(printed(SignalData()),
              "  SIGNAL      | [instanceName=] [webappName=] [MAC=] [unit=] [value=] [raw=0] "
              "[phys=0] [descr=] [userName=] [busId=BUSID_UNKNOWN] [channel=\0] [kslOffset=\0] "
              "[valueType=SIGNALVALUE_UNKNOWN] [scale=0] [offset=0] [valueDescriptionTable= ] "
              "[active=0] [valid=0] [interval=0]"s);
}

TEST(SignalKeyTest, PrintsAsNameAndLogger) {
    EXPECT_EQ(printed(SignalKey("Speed", "02:00:00:00:00:01")),
              "  key      | [name=Speed] [MAC=02:00:00:00:00:01]");
}

}  // namespace
