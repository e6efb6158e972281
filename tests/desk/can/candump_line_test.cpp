#include "desk/can/candump_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using desk::can::CandumpLine;
using desk::can::Frame;
using desk::can::readCandumpLine;
using Kind = CandumpLine::Kind;

namespace {

// What is read of a line, in one text: time, interface, id, kind, bytes and flags.
std::string shown(std::string line) {
    const CandumpLine read = readCandumpLine(line);
    if (read.kind != Kind::Frame) {
        return read.kind == Kind::Skipped ? "skipped" : read.kind == Kind::Long ? "long" : "wrong";
    }
    const Frame& frame = read.frame;
    std::string text = read.hasTime ? std::to_string(frame.time) + " " : "";
    text += std::string(read.interface) + (frame.isExtended ? " x" : " ") + std::to_string(frame.id);
    text += frame.kind == Frame::Kind::Remote ? " remote" : frame.kind == Frame::Kind::Error ? " error" : "";
    text += frame.isFd ? " fd" : "";
    text += frame.hasFastData ? " fast" : "";
    text += frame.isErrorPassive ? " passive" : "";
    text += " [" + std::to_string(frame.size) + "]";
    for (const std::uint8_t byte : frame.bytes()) {
        text += frame.kind == Frame::Kind::Remote ? "" : " " + std::to_string(byte);
    }
    return text;
}

struct Line {
    const char* text;
    const char* expected;
};

class CandumpLines : public testing::TestWithParam<Line> {};

TEST_P(CandumpLines, AreRead) {
    EXPECT_EQ(shown(GetParam().text), GetParam().expected) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    OfLogs, CandumpLines,
    testing::Values(Line{"(1700000000.123456) can0 123#0102", "1700000000123456 can0 291 [2] 1 2"},
                    Line{"(1700000000.123456789)   can0 123#aB\r", "1700000000123456 can0 291 [1] 171"},
                    Line{"(0.0) can0 7FF#", "0 can0 2047 [0]"},
                    Line{"(000.5) can0 000#01.02", "500000 can0 0 [2] 1 2"},
                    Line{"(1.000001) can0 00000123#01", "1000001 can0 x291 [1] 1"},
                    Line{"(1.0) can0 92345678#01", "1000000 can0 x305419896 [1] 1"},
                    Line{"(1.0) can0 123#01 T", "1000000 can0 291 [1] 1"},
                    Line{"(1.0) can0 123#112233445566778899", "1000000 can0 291 [8] 17 34 51 68 85 102 119 136"},
                    Line{"(1.0) can0 123#1122334455667788_C", "1000000 can0 291 [8] 17 34 51 68 85 102 119 136"},
                    Line{"(1.0) can0 123#R", "1000000 can0 291 remote [0]"},
                    Line{"(1.0) can0 123#r8_9", "1000000 can0 291 remote [8]"},
                    Line{"(1.0) can0 123#Rx", "1000000 can0 291 remote [0]"},
                    Line{"(1.0) can0 123##5AABB", "1000000 can0 291 fd fast [2] 170 187"},
                    Line{"(1.0) can0 123##3", "1000000 can0 291 fd fast passive [0]"},
                    Line{"(1.0) can0 123##0", "1000000 can0 291 fd [0]"},
                    Line{"(1.0) can0 20000004#0004000000000000", "1000000 can0 4 error [8] 0 4 0 0 0 0 0 0"}));

INSTANTIATE_TEST_SUITE_P(
    AsPrinted, CandumpLines,
    testing::Values(Line{" (1700000000.123456)  can0  123   [2]  01 02", "1700000000123456 can0 291 [2] 1 2"},
                    Line{"  can0  123   [0] ", "can0 291 [0]"},
                    Line{"  can0       123   [1]  FF", "can0 291 [1] 255"},
                    Line{"  can0  12345678   [1]  FF", "can0 x305419896 [1] 255"},
                    Line{"  can0  123  [08]  01 02 03 04 05 06 07 08", "can0 291 fd [8] 1 2 3 4 5 6 7 8"},
                    Line{"  can0  RX B E  123  [02]  01 02", "can0 291 fd fast passive [2] 1 2"},
                    Line{"  can0  TX - -  123   [1]  01", "can0 291 [1] 1"},
                    Line{"  can0  123   [2]  41 42   'A`\"'", "can0 291 [2] 65 66"},
                    Line{"  can0  123   [2]  02`01", "can0 291 [2] 1 2"},
                    Line{"  can0  123   [2]  00000001 10000000", "can0 291 [2] 1 128"},
                    Line{"  can0  123   {2}  01 02", "can0 291 [2] 1 2"},
                    Line{"  can0  123   [4]  remote request", "can0 291 remote [4]"},
                    Line{"  can0  20000080   [2]  00 00   ERRORFRAME", "can0 128 error [2] 0 0"},
                    Line{"\x1b[0;32m (1.5)  can0  123   [1]  07\x1b[0m", "1500000 can0 291 [1] 7"}));

INSTANTIATE_TEST_SUITE_P(
    OfNoFrames, CandumpLines,
    testing::Values(Line{"", "skipped"}, Line{"   ", "skipped"}, Line{"\tcontroller-problem{}", "skipped"},
                    Line{"DROPCOUNT: dropped 3 CAN frames on 'can0' socket", "skipped"},
                    Line{"(1.0) can0 02123#81:00:12345678#1122", "long"},
                    Line{"  can0  123  [0004]  (81|00:00)  01 02 03 04", "long"},
                    Line{"(1.0) can0 800#01", "wrong"}, Line{"(1.0) can0 12#01", "wrong"},
                    Line{"(1.0) can0 123#0", "wrong"}, Line{"(1.0) can0 123#0G", "wrong"},
                    Line{"(1.0) can0 123##", "wrong"}, Line{"(1.0) can0", "wrong"},
                    Line{"(1,0) can0 123#01", "wrong"}, Line{"(1.0 can0 123#01", "wrong"},
                    Line{"(1.0) averyverylonginterface 123#01", "wrong"},
                    Line{"  can0  123   [2]  01", "wrong"}, Line{"  can0  123   [2]  01 0Z", "wrong"},
                    Line{"  can0  123   [65]  01", "wrong"}, Line{"hello world", "wrong"}));

TEST(CandumpLine, ReadsTimesOfTheCalendar) {
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(shown(" (2026-03-21 12:00:00.5)  can0  123   [0]"), "1774094400500000 can0 291 [0]");
}

}  // namespace
