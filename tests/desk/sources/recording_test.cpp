#include "desk/sources/recording.h"

#include <gmock/gmock.h>

#include "desk/sources/recording_signals.h"
#include "krpbus/messages/signal_message.h"
#include "tests/desk/sources/recording_text.h"

using desk::Recording;
using desk::RecordingSignals;
using desk::SignalReading;
using std::chrono::microseconds;
using testing::ElementsAre;

namespace {

TEST(ReadRecording, ReadsSignalsUnitsTimesAndValues) {
    const Recording recording =
        recordingOf("time,Speed [km/h],Gear,Odd [name] [m]\n1.5,10,R,1\n2,11.50,1,-2e3\n");

    ASSERT_EQ(recording.signals.size(), 3U);
    EXPECT_EQ(recording.signals[0].name, "Speed");
    EXPECT_EQ(recording.signals[0].unit, "km/h");
    EXPECT_TRUE(recording.signals[0].isNumber);
    EXPECT_EQ(recording.signals[1].name, "Gear");
    EXPECT_EQ(recording.signals[1].unit, "");
    EXPECT_FALSE(recording.signals[1].isNumber);
    EXPECT_EQ(recording.signals[2].name, "Odd [name]");
    EXPECT_EQ(recording.signals[2].unit, "m");
    ASSERT_EQ(recording.rows.size(), 2U);
    EXPECT_EQ(recording.rows[0].time, microseconds(0));
    EXPECT_EQ(recording.rows[1].time, microseconds(500000));
    EXPECT_THAT(recording.rows[0].values, ElementsAre("10", "R", "1"));
    EXPECT_THAT(recording.rows[1].values, ElementsAre("11.50", "1", "-2e3"));
}

TEST(ReadRecording, UnderstandsQuotesOtherLineEndsAndAByteOrderMark) {
    const Recording recording = recordingOf(
        "\xEF\xBB\xBFtime,\"A, \"\"b\"\" [x]\",C\r\n\r\n0,\"two\nlines\",\r\n1,,\"\"\"\"\r\n");

    EXPECT_EQ(recording.signals[0].name, "A, \"b\"");
    EXPECT_EQ(recording.signals[0].unit, "x");
    EXPECT_THAT(recording.rows[0].values, ElementsAre("two\nlines", ""));
    EXPECT_THAT(recording.rows[1].values, ElementsAre("", "\""));
}

TEST(ReadRecording, NeedsNoLineEndAtTheEnd) {
    EXPECT_THAT(recordingOf("time,a\n0,1").rows[0].values, ElementsAre("1"));
}

TEST(ReadRecording, TakesASignalForANumberWhenEveryValueReadsAsOne) {
    const Recording recording =
        recordingOf("time,a,b,c,d,e,f\n0,1,NaN,1,,,x\n1,,-inf,one,2,,x\n2,1e5,.5,1,,,\n");
    EXPECT_TRUE(recording.signals[0].isNumber);
    EXPECT_TRUE(recording.signals[1].isNumber);
    EXPECT_FALSE(recording.signals[2].isNumber);
    EXPECT_TRUE(recording.signals[3].isNumber);
    EXPECT_FALSE(recording.signals[4].isNumber);
    EXPECT_FALSE(recording.signals[5].isNumber);
}

TEST(ReadRecording, SaysWhatIsWrongAndWhere) {
    EXPECT_EQ(errorOf(""), " line 1: the first row must be: time,<signal> [unit],...");
    EXPECT_EQ(errorOf("speed,time\n0,1\n"),
              " line 1: the first row must be: time,<signal> [unit],...");
    EXPECT_EQ(errorOf("time\n0\n"), " line 1: the first row must be: time,<signal> [unit],...");
    EXPECT_EQ(errorOf("time,a\n"), " line 1: there are no values");
    EXPECT_EQ(errorOf("time,a,\n0,1,2\n"), " line 1: a signal has no name");
    EXPECT_EQ(errorOf("time,a [m],a [s]\n0,1,2\n"), " line 1: two signals have the name \"a\"");
    EXPECT_EQ(errorOf("time,a\n0,1\n\nx,2\n"), " line 4: \"x\" is not a time in seconds");
    EXPECT_EQ(errorOf("time,a\nnan,1\n"), " line 2: \"nan\" is not a time in seconds");
    EXPECT_EQ(errorOf("time,a\n0,1\n1,2,3\n"), " line 3: there must be 1 values, not 2");
    EXPECT_EQ(errorOf("time,a\n0,1\n1\n"), " line 3: there must be 1 values, not 0");
    EXPECT_EQ(errorOf("time,a\n1,1\n0.5,2\n"), " line 3: the time goes back");
    EXPECT_EQ(errorOf("time,a\n0,1\n2,2\n1,3\n"), " line 4: the time goes back");
    EXPECT_EQ(errorOf("time,a\n0,1\n1e300,2\n"), " line 3: the recording is longer than a year");
    EXPECT_EQ(errorOf("time,a\n0,\"1\n"), " line 2: a quote is not closed");
    EXPECT_EQ(errorOf("time,a\n0,\"1\"2\n"), " line 2: there is something behind a closing quote");
}

class RecordingSignalsTest : public testing::Test {
  protected:
    void open(const std::string& text) {
        signals = std::make_unique<RecordingSignals>(
            std::make_shared<const Recording>(recordingOf(text)));
        signals->begin();
    }
    // The next row as "signal=value" each, then the microseconds until the one after it.
    std::vector<std::string> next() {
        std::vector<SignalReading> readings;
        const auto until = signals->read(microseconds(0), readings);
        std::vector<std::string> lines;
        for (const SignalReading& reading : readings) {
            lines.push_back(signals->signals()[reading.signal].webappName + "=" + reading.value);
        }
        lines.push_back(until ? std::to_string(until->count()) : "any time");
        return lines;
    }

    std::unique_ptr<RecordingSignals> signals;
};

TEST_F(RecordingSignalsTest, OffersTheRecordingsSignals) {
    open("time,Speed [km/h],Gear\n0,1,R\n");
    const auto& configs = signals->signals();
    ASSERT_EQ(configs.size(), 2U);
    EXPECT_EQ(configs[0].webappName, "Speed");
    EXPECT_EQ(configs[0].instanceName, "Recording.Speed");
    EXPECT_EQ(configs[0].userName, "Speed");
    EXPECT_EQ(configs[0].unit, "km/h");
    EXPECT_EQ(configs[0].valueType, SIGNALVALUE_DOUBLE);
    EXPECT_EQ(configs[1].valueType, SIGNALVALUE_STRING);
}

TEST_F(RecordingSignalsTest, PlaysValueForValueInALoop) {
    open("time,a,b\n0,1.50,x\n0.25,,y\n1,3,\n");
    EXPECT_THAT(next(), ElementsAre("a=1.50", "b=x", "250000"));
    EXPECT_THAT(next(), ElementsAre("b=y", "750000"));
    EXPECT_THAT(next(), ElementsAre("a=3", "750000"));
    EXPECT_THAT(next(), ElementsAre("a=1.50", "b=x", "250000"));
    signals->begin();
    EXPECT_THAT(next(), ElementsAre("a=1.50", "b=x", "250000"));
}

TEST_F(RecordingSignalsTest, RepeatsASingleRowEverySecond) {
    open("time,a\n7,1\n");
    EXPECT_THAT(next(), ElementsAre("a=1", "1000000"));
    EXPECT_THAT(next(), ElementsAre("a=1", "1000000"));
}

TEST_F(RecordingSignalsTest, DoesNotSpinWhenAllRowsHaveOneTime) {
    open("time,a\n0,1\n0,2\n");
    EXPECT_THAT(next(), ElementsAre("a=1", "0"));
    EXPECT_THAT(next(), ElementsAre("a=2", "1000000"));
}

TEST_F(RecordingSignalsTest, GivesTheNumberOfANumericText) {
    open("time,a\n0,-2.5\n1,300.6\n");
    std::vector<SignalReading> readings;
    signals->read(microseconds(0), readings);
    signals->read(microseconds(0), readings);
    EXPECT_EQ(readings[0].phys, -2.5);
    EXPECT_EQ(readings[0].raw, 0U);
    EXPECT_EQ(readings[1].phys, 300.6);
    EXPECT_EQ(readings[1].raw, 301U);
}

}  // namespace
