#include "desk/sources/host_buses.h"

#include <gmock/gmock.h>

#include <thread>

#include "tests/kit/temporary_directory.h"

using desk::BusReading;
using desk::byteLoad;
using desk::HostBuses;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

namespace {

using Message = BusLoadExtMessage;

class HostBusesTest : public testing::Test {
  protected:
    HostBusesTest() {
        bytes("eth0", 1000, 2000);
        bytes("lo", 5, 5);
    }
    void bytes(const std::string& interface, std::uint64_t received, std::uint64_t sent) {
        const std::string statistics = "sys/class/net/" + interface + "/statistics/";
        directory.write(statistics + "rx_bytes", std::to_string(received) + "\n");
        directory.write(statistics + "tx_bytes", std::to_string(sent) + "\n");
    }
    static std::vector<BusReading> read(HostBuses& host) {
        std::vector<BusReading> readings;
        host.read(0us, readings);
        return readings;
    }

    const TemporaryDirectory directory;
};

TEST_F(HostBusesTest, TakesEveryInterfaceForAnEthernetBus) {
    HostBuses host(directory.path());
    ASSERT_THAT(host.buses(), SizeIs(2));
    EXPECT_EQ(host.buses()[0].name,
              (KRPResponseGetBusNames::busName_t{BUSID_ETHERNET, 0, 0, "eth0"}));
    EXPECT_EQ(host.buses()[1].name,
              (KRPResponseGetBusNames::busName_t{BUSID_ETHERNET, 1, 0, "lo"}));
    EXPECT_FALSE(host.readGps(0us));
}

TEST_F(HostBusesTest, HasNoBusesOnAMachineWithoutInterfaces) {
    const TemporaryDirectory empty;
    HostBuses host(empty.path());
    EXPECT_THAT(host.buses(), IsEmpty());
    std::this_thread::sleep_for(60ms);
    EXPECT_THAT(read(host), IsEmpty());
}

// At least 60 ms pass, so no load is more than 17 times the bytes.
TEST_F(HostBusesTest, GivesTheMeanOfWhatWasReceivedAndSent) {
    HostBuses host(directory.path());
    bytes("eth0", 1000 + 30000, 2000 + 60000);
    bytes("lo", 5 + 9000, 5 + 9000);
    const auto start = desk::Clock::now();
    host.begin();
    bytes("eth0", 1000 + 60000, 2000 + 120000);
    bytes("lo", 5 + 18000, 5 + 18000);
    std::this_thread::sleep_for(60ms);
    const std::vector<BusReading> readings = read(host);
    const double longest = std::chrono::duration<double>(desk::Clock::now() - start).count();
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_EQ(readings[0].bus, 0U);
    const auto load = [](const BusReading& reading) {
        return reading.value * (reading.unit == Message::UNIT_KBYTES_SEC ? 1000.0 : 1.0);
    };
    EXPECT_GE(load(readings[0]), 90000 / longest - 1000);
    EXPECT_LE(load(readings[0]), 90000 / 0.06 + 1000);
    // The loopback's bytes count once.
    EXPECT_GE(load(readings[1]), 9000 / longest - 1);
    EXPECT_LE(load(readings[1]), 9000 / 0.06 + 1);
}

TEST_F(HostBusesTest, GivesNothingBeforeThereIsAMean) {
    HostBuses host(directory.path());
    host.begin();
    EXPECT_THAT(read(host), IsEmpty());
}

TEST_F(HostBusesTest, TakesACounterThatWentBackForASetOne) {
    HostBuses host(directory.path());
    bytes("eth0", 0, 0);
    std::this_thread::sleep_for(60ms);
    EXPECT_EQ(read(host)[0].value, 0);
}

TEST(ByteLoad, IsGivenInTheUnitThatFits) {
    const auto expect = [](double load, std::int32_t value, Message::unit_t unit) {
        EXPECT_EQ(byteLoad(3, load).value, value) << load;
        EXPECT_EQ(byteLoad(3, load).unit, unit) << load;
        EXPECT_EQ(byteLoad(3, load).bus, 3U);
    };
    expect(0, 0, Message::UNIT_BYTES_SEC);
    expect(999999, 999999, Message::UNIT_BYTES_SEC);
    expect(1000000, 1000, Message::UNIT_KBYTES_SEC);
    expect(125e6, 125000, Message::UNIT_KBYTES_SEC);
    expect(12.5e9, 12500, Message::UNIT_MBYTES_SEC);
    expect(5e12, 5000, Message::UNIT_GBYTES_SEC);
    expect(1e30, 2147483647, Message::UNIT_GBYTES_SEC);
}

}  // namespace
