#include "desk/sources/host_signals.h"

#include <gmock/gmock.h>

#include <thread>

#include "base/clock.h"
#include "tests/kit/temporary_directory.h"

using desk::HostFigures;
using desk::HostSignals;
using desk::SignalReading;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

// A machine of which all that matters is known.
class HostTest : public testing::Test {
  protected:
    HostTest() {
        processors(1000, 3000);
        write("proc/meminfo", "MemTotal:  4000 kB\nMemFree: 1 kB\nMemAvailable:  1000 kB\n");
        write("proc/loadavg", "0.50 0.25 0.12 2/345 6789\n");
        write("proc/uptime", "1234.56 99.0\n");
        write("sys/class/thermal/thermal_zone0/type", "board\n");
        write("sys/class/thermal/thermal_zone0/temp", "41500\n");
        write("sys/class/hwmon/hwmon0/name", "coretemp\n");
        write("sys/class/hwmon/hwmon0/temp1_input", "-2000\n");
        write("sys/class/hwmon/hwmon0/temp1_label", "Package\n");
        write("sys/class/hwmon/hwmon0/temp1_max", "100000\n");
        write("sys/class/net/eth0/statistics/rx_bytes", "1000\n");
        write("sys/class/net/eth0/statistics/tx_bytes", "2000\n");
        write("sys/class/net/lo/statistics/rx_bytes", "5\n");
        write("sys/class/net/lo/statistics/tx_bytes", "5\n");
        write("sys/class/net/bonding_masters", "\n");
    }
    // The first processor has been busy and idle for so many ticks, the second has been idle.
    void processors(int busy, int idle) {
        const std::string first =
            std::to_string(busy) + " 0 0 " + std::to_string(idle) + " 0 0 0 0 0 0\n";
        write("proc/stat", "cpu  " + first + "cpu0 " + first + "cpu1 0 0 0 " +
                               std::to_string(busy + idle) + " 0 0 0 0 0 0\nintr 5\n");
    }
    void write(const std::string& name, const std::string& text) { directory.write(name, text); }
    // "signal=value" of each reading.
    static std::vector<std::string> values(HostSignals& host) {
        std::vector<SignalReading> readings;
        EXPECT_FALSE(host.read(0us, readings).has_value());
        std::vector<std::string> lines;
        for (const SignalReading& reading : readings) {
            lines.push_back(host.signals()[reading.signal].webappName + "=" + reading.value);
        }
        return lines;
    }

    const TemporaryDirectory directory;
};

TEST_F(HostTest, FindsSensorsAndInterfaces) {
    const auto sensors = desk::hostSensors(directory.path());
    ASSERT_EQ(sensors.size(), 2U);
    EXPECT_EQ(sensors[0].name, "board");
    EXPECT_EQ(sensors[1].name, "coretemp Package");
    EXPECT_THAT(desk::hostInterfaces(directory.path()), ElementsAre("eth0", "lo"));
}

TEST_F(HostTest, ReadsEveryFigure) {
    const HostFigures figures = desk::readHostFigures(desk::hostSensors(directory.path()),
                                                      {"eth0", "gone"}, directory.path());
    ASSERT_EQ(figures.processors.size(), 3U);
    EXPECT_EQ(figures.processors[1].busy, 1000U);
    EXPECT_EQ(figures.processors[1].total, 4000U);
    EXPECT_EQ(figures.processors[2].busy, 0U);
    EXPECT_EQ(figures.memoryTotal, 4000U);
    EXPECT_EQ(figures.memoryAvailable, 1000U);
    EXPECT_THAT(figures.loads, ElementsAre(0.5, 0.25, 0.12));
    EXPECT_EQ(figures.processes, 345U);
    EXPECT_EQ(figures.uptime, 1234.56);
    EXPECT_THAT(figures.temperatures, ElementsAre(41.5, -2.0));
    ASSERT_EQ(figures.interfaces.size(), 2U);
    EXPECT_EQ(figures.interfaces[0].received, 1000U);
    EXPECT_EQ(figures.interfaces[0].sent, 2000U);
    EXPECT_EQ(figures.interfaces[1].received, 0U);
}

TEST_F(HostTest, ReadsAMachineThatTellsNothing) {
    const TemporaryDirectory empty;
    const HostFigures figures = desk::readHostFigures({}, {}, empty.path());
    EXPECT_THAT(figures.processors, IsEmpty());
    EXPECT_EQ(figures.memoryTotal, 0U);
    EXPECT_THAT(figures.loads, ElementsAre(0.0, 0.0, 0.0));

    HostSignals host(empty.path());
    EXPECT_THAT(values(host), ElementsAre("Processor.All=0.0", "Memory.Used=0.0",
                                          "Memory.Available=0", "Load.1min=0.00", "Load.5min=0.00",
                                          "Load.15min=0.00", "Processes=0", "Uptime=0.0"));
}

TEST_F(HostTest, OffersAllFiguresAsSignals) {
    HostSignals host(directory.path());
    EXPECT_THAT(
        values(host),
        ElementsAre("Processor.All=0.0", "Processor.0=0.0", "Processor.1=0.0", "Memory.Used=75.0",
                    "Memory.Available=1000", "Load.1min=0.50", "Load.5min=0.25", "Load.15min=0.12",
                    "Processes=345", "Uptime=1234.6", "Temperature.board=41.5",
                    "Temperature.coretemp Package=-2.0", "Network.eth0.Received=0.00",
                    "Network.eth0.Sent=0.00", "Network.lo.Received=0.00", "Network.lo.Sent=0.00"));
    const auto& configs = host.signals();
    EXPECT_EQ(configs[12].busId, BUSID_ETHERNET);
    EXPECT_EQ(configs[12].channel, 0);
    EXPECT_EQ(configs[14].channel, 1);
    EXPECT_EQ(configs[3].unit, "%");
    EXPECT_EQ(configs[3].instanceName, "Host.Memory.Used");
}

TEST_F(HostTest, GivesLoadsAndThroughputsAsMeansSinceTheReadingBefore) {
    HostSignals host(directory.path());
    host.begin();
    processors(1050, 3150);
    write("sys/class/net/eth0/statistics/rx_bytes", "1001000\n");
    const auto begin = desk::Clock::now();
    std::this_thread::sleep_for(150ms);
    std::vector<SignalReading> readings;
    host.read(0us, readings);
    const double longest = std::chrono::duration<double>(desk::Clock::now() - begin).count();

    EXPECT_EQ(readings[0].value, "25.0");
    EXPECT_EQ(readings[1].value, "25.0");
    EXPECT_EQ(readings[2].value, "0.0");
    EXPECT_LE(readings[12].phys, 1000.0 / 0.15);
    EXPECT_GE(readings[12].phys, 1000.0 / (longest + 0.05));
}

TEST_F(HostTest, KeepsTheMeansWhenAskedAgainAtOnce) {
    HostSignals host(directory.path());
    host.begin();
    processors(2000, 3000);
    std::this_thread::sleep_for(120ms);
    const auto first = values(host);
    processors(3000, 3000);
    EXPECT_EQ(values(host), first);
}

TEST_F(HostTest, TellsSensorsOfOneNameApart) {
    write("sys/class/thermal/thermal_zone1/type", "board\n");
    write("sys/class/thermal/thermal_zone1/temp", "30000\n");
    HostSignals host(directory.path());
    EXPECT_THAT(values(host), testing::Contains("Temperature.board (2)=30.0"));
}

TEST(HostSignals, AreOfTheTimeAtWhichTheyAreReadWhicheverWasAskedFor) {
    HostSignals host;
    std::vector<SignalReading> readings;
    const std::uint64_t before = getTimeOfDay();
    host.read(0us, readings);
    const std::uint64_t after = getTimeOfDay();
    ASSERT_FALSE(readings.empty());
    for (const SignalReading& reading : readings) {
        ASSERT_TRUE(reading.time.has_value());
        EXPECT_GE(*reading.time, before);
        EXPECT_LE(*reading.time, after);
    }
}

TEST(HostSignals, DescribeThisVeryMachine) {
    HostSignals host;
    std::vector<SignalReading> readings;
    host.read(0us, readings);
    ASSERT_EQ(readings.size(), host.signals().size());
    ASSERT_GE(readings.size(), 9U);
    EXPECT_GT(readings.at(host.signals().size() - 1).value.size(), 0U);
}

}  // namespace
