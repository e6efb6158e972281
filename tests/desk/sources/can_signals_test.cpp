#include "desk/sources/can_signals.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "desk/dbc/reader.h"
#include "desk/sources/can_buses.h"
#include "krpbus/messages/signal_message.h"
#include "tests/kit/temporary_directory.h"

using desk::CanBuses;
using desk::CanFeed;
using desk::CanSetup;
using desk::CanSignals;
using desk::SignalReading;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

constexpr auto kPatience = 30s;

class CanSignalsTest : public testing::Test {
  protected:
    // A feed whose file has been read to its end.
    std::shared_ptr<CanFeed> feedOf(const std::string& log,
                                    const std::vector<std::string>& databases, bool raw = false) {
        CanSetup setup;
        setup.file = directory.write("frames.log", log);
        setup.playback.once = true;
        setup.raw = raw;
        for (const std::string& text : databases) {
            setup.databases.push_back(
                {"", "", std::make_shared<const dbc::Database>(dbc::readDatabase(text))});
        }
        return std::make_shared<CanFeed>(std::move(setup));
    }
    static void play(CanFeed& feed) {
        feed.start();
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!feed.counters().hasEnded && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        feed.poll();
    }
    static std::vector<std::string> names(const CanFeed& feed) {
        std::vector<std::string> names;
        for (const auto& config : feed.values().signals()) {
            names.push_back(config.webappName);
        }
        return names;
    }
    static std::vector<std::string> values(const CanFeed& feed) {
        std::vector<std::string> values;
        for (std::size_t i = 0; i < feed.values().signals().size(); ++i) {
            values.push_back(feed.values().state(i).frames == 0 ? "-"
                                                                : feed.values().reading(i).value);
        }
        return values;
    }

    TemporaryDirectory directory;
};

constexpr const char* kDatabase =
    "BO_ 291 A: 8 X\n SG_ s : 0|8@1- (0.5,-1) [0|0] \"u\" X\n SG_ t : 8|8@1+ (1,0) [0|0] \"\" X\n"
    "VAL_ 291 s -2 \"low\" ;\n";

TEST_F(CanSignalsTest, NamesDescribesAndScalesSignals) {
    const auto feed = feedOf("(1.0) can0 123#FE07\n", {kDatabase});
    feed->list();
    play(*feed);
    ASSERT_THAT(names(*feed), ElementsAre("A.s", "A.t"));
    const auto& config = feed->values().signals()[0];
    EXPECT_EQ(config.instanceName, "can0.A.s");
    EXPECT_EQ(config.unit, "u");
    EXPECT_EQ(config.busId, BUSID_CAN);
    EXPECT_EQ(config.valueType, SIGNALVALUE_SIGNED);
    EXPECT_EQ(config.scale, 0.5);
    const SignalReading reading = feed->values().reading(0);
    EXPECT_EQ(reading.value, "-2.0");
    EXPECT_EQ(reading.descr, "low");
    EXPECT_EQ(reading.raw, static_cast<std::uint64_t>(-2));
    EXPECT_EQ(reading.phys, -2.0);
    EXPECT_TRUE(reading.time);
}

TEST_F(CanSignalsTest, TellsSeveralInterfacesApart) {
    const auto feed = feedOf("(1.0) can1 123#01\n(1.0) can0 123#03\n", {kDatabase});
    feed->list();
    play(*feed);
    EXPECT_THAT(names(*feed), ElementsAre("can1:A.s", "can1:A.t", "can0:A.s", "can0:A.t"));
    EXPECT_THAT(values(*feed), ElementsAre("-0.5", "-", "0.5", "-"));
    EXPECT_EQ(feed->values().signals()[2].channel, 1);
}

TEST_F(CanSignalsTest, LetsTheFirstDatabaseWinWhereTwoKnowAnIdentifier) {
    const auto feed =
        feedOf("(1.0) can0 123#0102\n",
               {kDatabase,
                "BO_ 291 B: 8 X\n SG_ s : 0|8@1+ (1,0) [0|0] \"\" X\nBO_ 292 A: 8 X\n SG_ s : "
                "0|8@1+ (1,0) [0|0] \"\" X\n SG_ new : 0|8@1+ (1,0) [0|0] \"\" X\n"});
    feed->list();
    EXPECT_THAT(names(*feed), ElementsAre("A.s", "A.t", "A.new"));
}

TEST_F(CanSignalsTest, KnowsParameterGroupsWhateverTheirSourceIs) {
    const auto feed =
        feedOf("(1.0) can0 18FC8B03#05\n(1.0) can0 0CEA2211#07\n(1.0) can0 1CFC8C03#09\n",
               {"BO_ 2566687742 A: 8 X\n SG_ s : 0|8@1+ (1,0) [0|0] \"\" X\n"
                "BO_ 2565537022 B: 8 X\n SG_ s : 0|8@1+ (1,0) [0|0] \"\" X\n"
                "BA_ \"ProtocolType\" \"J1939\";\n"});
    feed->list();
    play(*feed);
    EXPECT_THAT(values(*feed), ElementsAre("5", "7"));
}

TEST_F(CanSignalsTest, LeavesErrorsAndRequestsAlone) {
    const auto feed =
        feedOf("(1.0) can0 123#R1\n(1.0) can0 20000123#01\n(1.0) can0 00000123#01\n", {kDatabase});
    feed->list();
    play(*feed);
    EXPECT_THAT(values(*feed), ElementsAre("-", "-"));
    EXPECT_EQ(feed->counters().errorFrames, 1U);
}

TEST_F(CanSignalsTest, ListsRawFramesOnceTheyHaveCome) {
    const auto feed = feedOf("(1.0) can0 123#0102\n(1.0) can0 00000123#03\n", {}, true);
    feed->list();
    EXPECT_THAT(names(*feed), IsEmpty());
    play(*feed);
    EXPECT_THAT(names(*feed), IsEmpty()) << "before somebody asks";
    feed->list();
    EXPECT_THAT(names(*feed), ElementsAre("Frame.123", "Frame.00000123"));
}

TEST_F(CanSignalsTest, TellsWatchersOfEachValue) {
    const auto feed =
        feedOf("(1.0) can0 123#02\n(1.0) can0 123#FE\n(1.0) can0 123#02\n", {kDatabase});
    std::vector<std::string> told;
    feed->watch("A.s", [&](double value, const std::string& text, std::uint64_t) {
        told.push_back(std::to_string(value) + text);
    });
    play(*feed);
    EXPECT_THAT(told, ElementsAre("0.000000", "-2.000000low", "0.000000"));
}

// A source over a feed that is given its frames step by step, through a pipe that stays open.
TEST_F(CanSignalsTest, SendsChangedValuesAtTheRateAndOthersOnceASecond) {
    std::string log;
    for (int i = 0; i < 300; ++i) {
        char line[64];
        std::snprintf(line, sizeof line, "(%d.%03d) can0 123#%02X05\n", i / 100, i % 100 * 10,
                      i % 100);
        log += line;
    }
    const auto feed = feedOf(log, {kDatabase});
    CanSignals signals(feed, 10.0);
    signals.list();
    signals.begin();
    std::vector<SignalReading> readings;
    auto time = 0us;
    const auto begin = std::chrono::steady_clock::now();
    while (!feed->counters().hasEnded || time < 3200ms) {
        ASSERT_LT(std::chrono::steady_clock::now() - begin, kPatience);
        time += *signals.read(time, readings);
        std::this_thread::sleep_until(begin + time);
    }
    const auto count = [&](std::size_t signal) {
        return std::count_if(readings.begin(), readings.end(), [&](const SignalReading& reading) {
            return reading.signal == signal;
        });
    };
    EXPECT_GE(count(0), 6);  // 30 where the machine has nothing else to do
    EXPECT_LE(count(0), 33);
    EXPECT_GE(count(1), 2);
    EXPECT_LE(count(1), 5);
    const std::size_t then = readings.size();
    signals.read(time + 10s, readings);
    signals.read(time + 20s, readings);
    EXPECT_LE(readings.size(), then + 2) << "the frames have stopped";
}

TEST_F(CanSignalsTest, GivesNoClientMoreThanItIsToGet) {
    std::string database;
    std::string log;
    for (int message = 0; message < 20; ++message) {
        database += "BO_ " + std::to_string(message) + " M" + std::to_string(message) + ": 64 X\n";
        for (int signal = 0; signal < 64; ++signal) {
            database += " SG_ s" + std::to_string(signal) + " : " + std::to_string(signal * 8) +
                        "|8@1+ (1,0) [0|0] \"\" X\n";
        }
    }
    for (int i = 0; i < 40; ++i) {
        char id[32];
        std::snprintf(id, sizeof id, "(%d.0) can0 %03X##0", i / 20, i % 20);
        log += id + std::string(128, static_cast<char>('1' + i / 20)) + "\n";
    }
    const auto feed = feedOf(log, {database});
    CanSignals signals(feed, 10.0);
    signals.list();
    signals.begin();
    std::vector<SignalReading> readings;
    signals.read(0us, readings);
    play(*feed);
    readings.clear();
    signals.read(20ms, readings);
    EXPECT_LE(readings.size(), 500U);
    std::set<std::size_t> seen;
    auto time = 40ms;
    while (seen.size() < 1280 && time < 2s) {
        readings.clear();
        signals.read(time, readings);
        EXPECT_LE(readings.size(), 500U);
        for (const SignalReading& reading : readings) {
            EXPECT_EQ(reading.value, "34") << "the newest";
            seen.insert(reading.signal);
        }
        time += 20ms;
    }
    EXPECT_GE(seen.size(), 780U);
}

TEST_F(CanSignalsTest, GivesTheLoadsOfItsInterfaces) {
    std::string log;
    for (int i = 0; i < 1300; ++i) {
        char line[64];
        std::snprintf(line, sizeof line, "(%d.%03d) can0 000#0000000000000000\n", i / 1000,
                      i % 1000);
        log += line;
    }
    const auto feed = feedOf(log, {});
    CanBuses buses(feed);
    ASSERT_EQ(buses.buses().size(), 1U);
    EXPECT_EQ(buses.buses()[0].name.name, "can0");
    buses.begin();
    std::vector<desk::BusReading> readings;
    std::int32_t highest = 0;
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!feed->counters().hasEnded && std::chrono::steady_clock::now() < deadline) {
        readings.clear();
        buses.read(0us, readings);
        highest = std::max(highest, readings.at(0).value);
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_GE(highest, 20);
    EXPECT_LE(highest, 27);
    readings.clear();
    buses.read(0us, readings);
    EXPECT_EQ(readings.at(0).value, BusLoadExtMessage::kUnknown) << "the input has ended";
}

}  // namespace
