#include "host/protocol/frame_sender.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "host/protocol/socket_port.h"

namespace websocket {
namespace {

using namespace std::chrono_literals;

const std::uint8_t* bytes(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

/// A sender on one end of a socket pair, and the peer's end.
class FrameSenderTest : public ::testing::Test {
  protected:
    static constexpr std::size_t kCapacity = 64 * 1024;

    /// `patience` is how long the sender bears a peer that takes nothing: by default longer than a
    /// busy machine keeps a test waiting.
    explicit FrameSenderTest(std::chrono::milliseconds patience = 60s)
        : ends_(makePair()), port(ends_[0]), sender(port, kCapacity, patience) {}
    ~FrameSenderTest() override {
        sender.stop();
        close(ends_[0]);
        close(ends_[1]);
    }

    static std::array<int, 2> makePair() {
        std::array<int, 2> ends{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
        return ends;
    }

    std::size_t sendText(const std::string& text) {
        return sender.send(WSLAY_TEXT_FRAME, bytes(text), text.size());
    }

    /// Reads exactly so many bytes, or fewer at the end of the connection or when nothing comes.
    std::string read(std::size_t size) {
        std::string got(size, '\0');
        std::size_t have = 0;
        while (have < size) {
            pollfd fd{ends_[1], POLLIN, 0};
            if (poll(&fd, 1, 20'000) <= 0) {
                break;
            }
            const ssize_t n = ::read(ends_[1], got.data() + have, size - have);
            if (n <= 0) {
                break;
            }
            have += static_cast<std::size_t>(n);
        }
        got.resize(have);
        return got;
    }

    /// The payload of the next frame, which has to have this first byte.
    std::string readFrame(unsigned first) {
        const std::string start = read(2);
        if (start.size() < 2) {
            return "nothing came";
        }
        EXPECT_EQ(static_cast<unsigned char>(start[0]), first);
        std::size_t size = static_cast<unsigned char>(start[1]);
        if (size > 125) {
            const std::string more = read(size == 126 ? 2 : 8);
            size = 0;
            for (const char c : more) {
                size = size << 8 | static_cast<unsigned char>(c);
            }
        }
        return read(size);
    }

    bool somethingCame() {
        pollfd fd{ends_[1], POLLIN, 0};
        return poll(&fd, 1, 50) > 0;
    }

    std::array<int, 2> ends_;
    SocketPort port;
    FrameSender sender;
};

class ImpatientFrameSenderTest : public FrameSenderTest {
  protected:
    ImpatientFrameSenderTest() : FrameSenderTest(500ms) {}
};

TEST_F(FrameSenderTest, HasWrittenWhenAnIdleSendReturns) {
    sender.start();
    sender.open("HEAD");
    EXPECT_EQ(read(4), "HEAD");
    // On a busy machine the writer thread may take a while to come to rest.
    int writtenAtOnce = 0;
    for (int i = 0; i < 100 && writtenAtOnce < 5; ++i) {
        std::this_thread::sleep_for(20ms);
        const std::uint64_t before = port.written();
        EXPECT_EQ(sendText("hello"), 5U);
        writtenAtOnce += port.written() - before == 7 ? 1 : 0;
        EXPECT_EQ(readFrame(0x81), "hello");
    }
    EXPECT_EQ(writtenAtOnce, 5);
}

TEST_F(FrameSenderTest, KeepsFramesBackUntilTheHandshakeIsAnswered) {
    sender.start();
    EXPECT_EQ(sendText("early"), 5U);
    EXPECT_FALSE(somethingCame());
    sender.open("HEAD");
    EXPECT_EQ(read(4), "HEAD");
    EXPECT_EQ(readFrame(0x81), "early");
}

TEST_F(FrameSenderTest, WritesAtOnceWhatOneThreadHasHeldBack) {
    sender.start();
    sender.open("");
    // While the writer thread has not come to rest it takes what it finds.
    int heldBack = 0;
    for (int i = 0; i < 100 && heldBack < 5; ++i) {
        std::this_thread::sleep_for(20ms);
        const std::uint64_t before = port.written();
        sender.hold();
        EXPECT_EQ(sendText("one"), 3U);
        EXPECT_EQ(sendText("two"), 3U);
        heldBack += port.written() == before ? 1 : 0;
        sender.release();
        EXPECT_EQ(readFrame(0x81), "one");
        EXPECT_EQ(readFrame(0x81), "two");
    }
    EXPECT_EQ(heldBack, 5);
    EXPECT_EQ(sendText("three"), 5U);
    EXPECT_EQ(readFrame(0x81), "three") << "by itself again";
}

TEST_F(FrameSenderTest, TakesAlongWhatIsHeldBackWithAnotherThreadsFrame) {
    sender.start();
    sender.open("");
    sender.hold();
    EXPECT_EQ(sendText("held"), 4U);
    std::thread([&] {
        sender.hold();  // of two, one is not heeded
        EXPECT_EQ(sendText("other"), 5U);
        sender.release();
    }).join();
    EXPECT_EQ(readFrame(0x81), "held");
    EXPECT_EQ(readFrame(0x81), "other");
    EXPECT_EQ(sendText("held again"), 10U);
    sender.release();
    EXPECT_EQ(readFrame(0x81), "held again");
}

TEST_F(FrameSenderTest, HoldsBackOnlySoMuch) {
    sender.start();
    sender.open("");
    sender.hold();
    const std::string text(1000, 'x');
    for (std::size_t sent = 0; sent <= kCapacity / 2; sent += text.size()) {
        EXPECT_EQ(sendText(text), text.size());
    }
    EXPECT_EQ(readFrame(0x81), text);
    sender.release();
}

TEST_F(FrameSenderTest, UsesEveryFormOfTheHeader) {
    sender.start();
    sender.open("");
    for (const std::size_t size : {0U, 1U, 125U, 126U, 65535U, 65536U, 200'000U}) {
        const std::string text(size, 'x');
        auto sent = std::async(std::launch::async, [&] { return sendText(text); });
        EXPECT_EQ(readFrame(0x81), text);
        EXPECT_EQ(sent.get(), size);
    }
}

TEST_F(FrameSenderTest, HoldsTheSenderBackAtTheBound) {
    sender.start();
    sender.open("");
    std::atomic<int> sent{0};
    auto writer = std::async(std::launch::async, [&] {
        const std::string text(10'000, 'x');
        for (int i = 0; i < 200; ++i) {
            sendText(text);
            ++sent;
        }
    });
    std::this_thread::sleep_for(200ms);
    const int before = sent;
    EXPECT_LT(before, 200);
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(readFrame(0x81).size(), 10'000U);
    }
    writer.get();
    EXPECT_EQ(sent, 200);
    EXPECT_LE(sender.highWater(), kCapacity);
    EXPECT_EQ(sender.ended(), FrameSender::End::None);
}

TEST_F(ImpatientFrameSenderTest, GivesUpAPeerThatTakesNothing) {
    sender.start();
    sender.open("");
    const auto start = std::chrono::steady_clock::now();
    const std::string text(1'000'000, 'x');
    EXPECT_EQ(sendText(text), 0U);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, 450ms);
    EXPECT_LT(took, 5s);
    EXPECT_EQ(sender.ended(), FrameSender::End::TimedOut);
    EXPECT_EQ(sendText("late"), 0U);
}

TEST_F(FrameSenderTest, WakesEverySenderThatWaitsWhenItIsKilled) {
    sender.start();
    sender.open("");
    const std::string text(1'000'000, 'x');
    std::vector<std::future<std::size_t>> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.push_back(std::async(std::launch::async, [&] { return sendText(text); }));
    }
    std::this_thread::sleep_for(100ms);
    sender.kill(FrameSender::End::Stopped);
    for (auto& sent : waiting) {
        ASSERT_EQ(sent.wait_for(3s), std::future_status::ready);
        EXPECT_EQ(sent.get(), 0U);
    }
    pollfd fd{sender.deadEvent().descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&fd, 1, 0), 1);
}

TEST_F(FrameSenderTest, WakesSendersThatWaitForTheHandshake) {
    sender.start();
    const std::string text(1'000'000, 'x');
    EXPECT_TRUE(sender.wouldWait(text.size()));
    auto waiting = std::async(std::launch::async, [&] { return sendText(text); });
    EXPECT_EQ(waiting.wait_for(50ms), std::future_status::timeout);
    sender.stop();
    EXPECT_EQ(waiting.get(), 0U);
    EXPECT_FALSE(somethingCame());
}

TEST_F(FrameSenderTest, SendsNothingBehindACloseFrame) {
    sender.start();
    sender.open("");
    EXPECT_TRUE(sender.sendClose(bytes("\x03\xE9"), 2));
    EXPECT_FALSE(sender.sendClose(bytes("\x03\xE8"), 2));
    EXPECT_TRUE(sender.closing());
    EXPECT_EQ(sendText("late"), 0U);
    sender.sendPong(bytes("late"), 4);
    EXPECT_EQ(readFrame(0x88), "\x03\xE9");
    EXPECT_FALSE(somethingCame());
    EXPECT_TRUE(sender.waitUntilWritten(1s));
}

TEST_F(FrameSenderTest, RefusesControlFramesThatAreTooLong) {
    sender.start();
    sender.open("");
    const std::string text(126, 'x');
    EXPECT_EQ(sender.send(WSLAY_PING, bytes(text), 126), 0U);
    EXPECT_FALSE(sender.sendClose(bytes(text), 126));
    EXPECT_EQ(sender.send(WSLAY_PING, bytes(text), 125), 125U);
    EXPECT_EQ(readFrame(0x89).size(), 125U);
}

TEST_F(FrameSenderTest, PutsControlFramesBehindTheFrameThatIsBeingSentTheNewestOfAKind) {
    sender.start();
    sender.open("");
    const std::string text(1'000'000, 'x');
    auto sent = std::async(std::launch::async, [&] { return sendText(text); });
    std::this_thread::sleep_for(100ms);
    sender.sendPong(bytes("older"), 5);
    sender.sendPong(bytes("newer"), 5);
    sender.sendPing();
    EXPECT_TRUE(sender.sendClose(bytes("\x03\xE8"), 2));
    EXPECT_EQ(readFrame(0x81), text);
    EXPECT_EQ(sent.get(), text.size());
    EXPECT_EQ(readFrame(0x8A), "newer");
    EXPECT_EQ(readFrame(0x89), "");
    EXPECT_EQ(readFrame(0x88), "\x03\xE8");
}

TEST_F(FrameSenderTest, KeepsFramesOfManyThreadsWholeAndInOrder) {
    sender.start();
    sender.open("");
    constexpr int kThreads = 4;
    constexpr int kFrames = 5000;
    std::vector<std::future<void>> senders;
    for (int t = 0; t < kThreads; ++t) {
        senders.push_back(std::async(std::launch::async, [&, t] {
            for (int i = 0; i < kFrames; ++i) {
                // Some frames are larger than the queue.
                sendText(std::to_string(t) + ":" + std::to_string(i) + ":" +
                         std::string(i % 1000 == 0 ? 100'000 : 90, 'x'));
            }
        }));
    }
    std::array<int, kThreads> next{};
    for (int n = 0; n < kThreads * kFrames; ++n) {
        const std::string text = readFrame(0x81);
        const auto colon = text.find(':');
        ASSERT_NE(colon, std::string::npos);
        const auto t = static_cast<std::size_t>(std::stoi(text));
        const int index = std::stoi(text.substr(colon + 1));
        ASSERT_EQ(index, next.at(t)++);
        ASSERT_EQ(text.size() - text.rfind(':') - 1, index % 1000 == 0 ? 100'000U : 90U);
    }
    for (std::future<void>& each : senders) {
        each.get();
    }
    EXPECT_LE(sender.highWater(), kCapacity);
}

TEST_F(FrameSenderTest, EndsWhenThePeerHasGone) {
    sender.start();
    sender.open("");
    close(ends_[1]);
    ends_[1] = dup(ends_[0]);
    const auto deadline = std::chrono::steady_clock::now() + 2s;
    while (sendText("anyone there") != 0 && std::chrono::steady_clock::now() < deadline) {
    }
    EXPECT_EQ(sender.ended(), FrameSender::End::Broken);
}

TEST_F(FrameSenderTest, CanBeStoppedBeforeItWasStarted) {
    EXPECT_EQ(sendText("kept"), 4U);
    sender.stop();
    EXPECT_EQ(sendText("late"), 0U);
    EXPECT_FALSE(somethingCame());
}

}  // namespace
}  // namespace websocket
