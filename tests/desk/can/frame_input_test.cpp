#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/can.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "base/clock.h"
#include "desk/can/socket_input.h"
#include "desk/can/text_input.h"
#include "tests/kit/temporary_directory.h"

using desk::can::Frame;
using desk::can::FrameInput;
using desk::can::FrameQueue;
using desk::can::Playback;
using desk::can::receiveFrame;
using desk::can::SocketInput;
using desk::can::TextInput;
using testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

constexpr auto kPatience = 30s;

// Takes frames until there are so many, or time is over.
std::vector<Frame> take(FrameInput& input, std::size_t count) {
    std::vector<Frame> frames;
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (frames.size() < count && std::chrono::steady_clock::now() < deadline) {
        input.queue().takeAll(frames);
        std::this_thread::sleep_for(1ms);
    }
    return frames;
}

bool waitForEnd(const FrameInput& input) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!input.counters().hasEnded && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    return input.counters().hasEnded;
}

class TextInputTest : public testing::Test {
  protected:
    TemporaryDirectory directory;
};

TEST_F(TextInputTest, PlaysAFileAtItsSpeedInALoop) {
    const std::string file = directory.write(
        "a.log",
        "(5.0) can1 123#01\n(5.1) can0 123#02\nrubbish\n(5.2) can1 123#03\n(5.25) can0 123#0");
    TextInput input(file, {2.0, false}, {});
    EXPECT_THAT(input.interfaces().list(), ElementsAre("can1", "can0"));
    const std::uint64_t before = getTimeOfDay();
    input.start();
    const std::vector<Frame> frames = take(input, 6);
    ASSERT_GE(frames.size(), 6U);
    EXPECT_EQ(frames[0].data[0], 1);
    EXPECT_EQ(frames[1].interface, 1);
    EXPECT_EQ(frames[1].time - frames[0].time, 50'000U);
    EXPECT_EQ(frames[2].time - frames[0].time, 100'000U);
    EXPECT_EQ(frames[3].data[0], 1) << "the next round";
    EXPECT_GE(frames[3].time, frames[2].time);
    EXPECT_GE(frames[0].time, before);
    EXPECT_GE(input.counters().wrongLines, 2U) << "rubbish, and a line that was cut";
}

TEST_F(TextInputTest, PlaysAFileOnce) {
    const std::string file = directory.write("a.log", "(5.0) can0 123#01\n(5.0) can0 123#02\n");
    TextInput input(file, {1.0, true}, {});
    input.start();
    EXPECT_TRUE(waitForEnd(input));
    EXPECT_EQ(take(input, 2).size(), 2U);
}

TEST_F(TextInputTest, GoesOnWithAFileThatWasTruncatedMeanwhile) {
    const std::string file = directory.write("a.log", "(5.0) can0 123#01\n(5.01) can0 123#02\n");
    TextInput input(file, {1.0, false}, {});
    input.start();
    take(input, 4);
    directory.write("a.log", "");
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    std::uint64_t frames = 0;
    do {  // until a whole look at it brings none
        frames = input.counters().frames;
        std::this_thread::sleep_for(100ms);
    } while (input.counters().frames != frames && std::chrono::steady_clock::now() < deadline);
    directory.write("a.log", "(1.0) can0 123#07\n");
    std::vector<Frame> later;
    input.queue().takeAll(later);
    later.clear();
    EXPECT_EQ(take(input, 1).at(0).data[0], 7);
}

TEST_F(TextInputTest, RefusesWhatHoldsNoFrames) {
    const auto why = [](const std::string& file) -> std::string {
        try {
            TextInput input(file, {}, {});
        } catch (const std::invalid_argument& wrong) {
            return wrong.what();
        }
        return "";
    };
    EXPECT_EQ(why("/nonexistent.log"), "\"/nonexistent.log\" cannot be read");
    const std::string file = directory.write("a.csv", "time,speed\n0,1\n");
    EXPECT_EQ(why(file),
              "\"" + file + "\" holds no frame like \"(1700000000.123456) can0 123#0102\"");
}

TEST_F(TextInputTest, ReadsAPipeThatIsCutInALine) {
    const std::string pipe = (directory.path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    TextInput input(pipe, {}, {"can7"});
    const int writer = open(pipe.c_str(), O_WRONLY);
    ASSERT_GE(writer, 0);
    input.start();
    const std::string text = "(1.0) can0 123#01\n(1.0) can0 124#0203\n(1.0) can0 123#";
    ASSERT_EQ(write(writer, text.data(), 25), 25);
    ASSERT_EQ(write(writer, text.data() + 25, text.size() - 25),
              static_cast<ssize_t>(text.size() - 25));
    close(writer);
    EXPECT_TRUE(waitForEnd(input));
    const std::vector<Frame> frames = take(input, 2);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[1].id, 0x124U);
    EXPECT_EQ(frames[1].interface, 1);
    EXPECT_EQ(input.counters().wrongLines, 1U);
}

TEST_F(TextInputTest, LetsALineWithoutEndPass) {
    const std::string file =
        directory.write("a.log", std::string(100'000, 'x') + "\n(1.0) can0 123#01\n");
    TextInput input(file, {1.0, true}, {});
    input.start();
    EXPECT_TRUE(waitForEnd(input));
    EXPECT_EQ(take(input, 1).size(), 1U);
    EXPECT_EQ(input.counters().wrongLines, 1U);
}

TEST(FrameQueue, HoldsItsWriterUpWhileItIsFull) {
    FrameQueue queue(2);
    std::atomic<int> put{0};
    std::thread writer([&] {
        while (queue.put({})) {
            ++put;
        }
    });
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (put < 2 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_EQ(put, 2);
    EXPECT_FALSE(queue.offer({}));
    std::vector<Frame> frames;
    while (frames.size() < 10) {
        queue.takeAll(frames);
    }
    queue.close();
    writer.join();
}

// What the kernel hands over, over a socket pair: the records are the same.
TEST(ReceiveFrame, TakesClassicFdAndErrorFrames) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, pair), 0);
    std::uint32_t lost = 0;
    EXPECT_FALSE(receiveFrame(pair[0], lost));
    can_frame classic{};
    classic.can_id = 0x80000123U;
    classic.can_dlc = 2;
    classic.data[1] = 7;
    ASSERT_EQ(write(pair[1], &classic, sizeof classic), static_cast<ssize_t>(CAN_MTU));
    const auto frame = receiveFrame(pair[0], lost);
    ASSERT_TRUE(frame);
    EXPECT_TRUE(frame->isExtended);
    EXPECT_EQ(frame->id, 0x123U);
    EXPECT_EQ(frame->size, 2);
    EXPECT_EQ(frame->data[1], 7);
    EXPECT_GT(frame->time, 1'600'000'000'000'000U);
    canfd_frame fd{};
    fd.can_id = 0x7FF;
    fd.len = 64;
    fd.flags = CANFD_BRS | CANFD_ESI;
    fd.data[63] = 9;
    ASSERT_EQ(write(pair[1], &fd, sizeof fd), static_cast<ssize_t>(CANFD_MTU));
    const auto large = receiveFrame(pair[0], lost);
    ASSERT_TRUE(large);
    EXPECT_TRUE(large->isFd && large->hasFastData && large->isErrorPassive);
    EXPECT_EQ(large->data[63], 9);
    classic.can_id = CAN_ERR_FLAG | 4U;
    ASSERT_EQ(write(pair[1], &classic, sizeof classic), static_cast<ssize_t>(CAN_MTU));
    EXPECT_EQ(receiveFrame(pair[0], lost)->kind, Frame::Kind::Error);
    ASSERT_EQ(write(pair[1], "odd", 3), 3);
    EXPECT_FALSE(receiveFrame(pair[0], lost));
    close(pair[0]);
    close(pair[1]);
}

TEST(SocketInput, SaysThatTheKernelHasNoCan) {
    if (!desk::can::whyNoSockets()) {
        GTEST_SKIP() << "this kernel has SocketCAN";
    }
    try {
        SocketInput input({"can0"});
        ADD_FAILURE();
    } catch (const std::invalid_argument& wrong) {
        EXPECT_THAT(wrong.what(), testing::StartsWith("this kernel has no SocketCAN ("));
    }
}

TEST(SocketInput, ReceivesWhatIsSentOnAVirtualInterface) {
    if (const auto why = desk::can::whyNoSockets()) {
        GTEST_SKIP() << "untried: " << *why;
    }
    if (std::system("ip link add dev lvcan0 type vcan && ip link set lvcan0 up") != 0) {
        GTEST_SKIP() << "untried: no virtual interface can be made here";
    }
    SocketInput input({"lvcan0"});
    input.start();
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!input.isUp(0) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(std::system("cansend lvcan0 123#0102"), 0);
    EXPECT_EQ(take(input, 1).at(0).id, 0x123U);
    EXPECT_EQ(std::system("ip link del lvcan0"), 0);
}

}  // namespace
