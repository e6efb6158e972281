#include "host/protocol/frame_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

namespace websocket {
namespace {

/// Gives out what the test put in, at most so many bytes at a time.
class TestSource : public ByteSource {
  public:
    std::string bytes;
    std::size_t atOnce = std::numeric_limits<std::size_t>::max();
    bool ended = false;

    Status read(std::uint8_t* buffer, std::size_t size, std::size_t& got) override {
        got = std::min({size, atOnce, bytes.size()});
        if (got == 0) {
            return ended ? Status::Ended : Status::Nothing;
        }
        std::memcpy(buffer, bytes.data(), got);
        bytes.erase(0, got);
        return Status::Data;
    }
};

std::string frame(std::uint8_t first, const std::string& payload, std::uint64_t declared) {
    std::string out(1, static_cast<char>(first));
    const int bits = declared < 126 ? 0 : declared < 65536 ? 16 : 64;
    out += static_cast<char>(0x80 | (bits == 0 ? declared : bits == 16 ? 126 : 127));
    for (int shift = bits - 8; shift >= 0; shift -= 8) {
        out += static_cast<char>(declared >> shift);
    }
    const char mask[4] = {'\x12', '\x34', '\x56', '\x78'};
    out.append(mask, 4);
    for (std::size_t i = 0; i < payload.size(); ++i) {
        out += static_cast<char>(payload[i] ^ mask[i % 4]);
    }
    return out;
}

std::string frame(std::uint8_t first, const std::string& payload) {
    return frame(first, payload, payload.size());
}

class FrameReaderTest : public ::testing::Test {
  protected:
    FrameReader::Result next() {
        std::size_t budget = 1 << 20;
        return reader.next(event, budget);
    }
    std::string payload() const {
        return {reinterpret_cast<const char*>(event.payload), event.size};
    }

    TestSource source;
    FrameReader reader{source, 1000};
    FrameReader::Event event;
};

TEST_F(FrameReaderTest, JoinsFragmentsAndSetsAZeroByteBehindThem) {
    for (const std::size_t atOnce : {1U, 2U, 3U, 100U}) {
        source.atOnce = atOnce;
        source.bytes = frame(0x01, "Hel") + frame(0x89, "ping") + frame(0x80, "lo");
        ASSERT_EQ(next(), FrameReader::Result::Frame);
        EXPECT_EQ(event.opcode, WSLAY_PING);
        EXPECT_STREQ(reinterpret_cast<char*>(event.payload), "ping");
        ASSERT_EQ(next(), FrameReader::Result::Frame);
        EXPECT_EQ(event.opcode, WSLAY_TEXT_FRAME);
        EXPECT_EQ(payload(), "Hello");
        EXPECT_EQ(event.payload[5], 0);
        EXPECT_EQ(next(), FrameReader::Result::Nothing);
    }
}

TEST_F(FrameReaderTest, HandsOverEmptyMessagesWithTheirZeroByte) {
    source.bytes = frame(0x82, "") + frame(0x8A, "");
    ASSERT_EQ(next(), FrameReader::Result::Frame);
    EXPECT_EQ(event.opcode, WSLAY_BINARY_FRAME);
    EXPECT_EQ(event.size, 0U);
    EXPECT_EQ(event.payload[0], 0);
    ASSERT_EQ(next(), FrameReader::Result::Frame);
    EXPECT_EQ(event.opcode, WSLAY_PONG);
}

TEST_F(FrameReaderTest, StaysFailedOnceARuleWasBroken) {
    source.bytes = frame(0x83, "") + frame(0x81, "good");
    EXPECT_EQ(next(), FrameReader::Result::Failed);
    EXPECT_EQ(reader.failure(), kCloseProtocolError);
    EXPECT_EQ(next(), FrameReader::Result::Failed);
}

TEST_F(FrameReaderTest, RefusesTooMuchFromTheHeaderAlone) {
    source.bytes = frame(0x82, "", 1001);
    EXPECT_EQ(next(), FrameReader::Result::Failed);
    EXPECT_EQ(reader.failure(), kCloseTooBig);
}

TEST_F(FrameReaderTest, RefusesAHeaderAloneAtItsFirstWrongByte) {
    source.atOnce = 1;
    const std::string wrong = frame(0x91, "payload");
    source.bytes = wrong.substr(0, 1);
    EXPECT_EQ(next(), FrameReader::Result::Nothing);
    source.bytes = wrong.substr(1, 1);
    EXPECT_EQ(next(), FrameReader::Result::Failed);
    EXPECT_EQ(reader.failure(), kCloseProtocolError);
}

TEST_F(FrameReaderTest, DoesNotMistakeTheEndOfAFrameForAHeader) {
    // What stands in the last bytes looks like a bad header when the place of the frame is not
    // known.
    source.bytes = frame(0x82, std::string(200, '\xFF'));
    ASSERT_EQ(next(), FrameReader::Result::Frame);
    EXPECT_EQ(next(), FrameReader::Result::Nothing);
    for (std::size_t size = 1; size < 14; ++size) {
        const std::string good = frame(0x82, std::string(300, 'x'));
        source.bytes = good.substr(0, size);
        EXPECT_EQ(next(), FrameReader::Result::Nothing) << size;
        source.bytes = good.substr(size);
        EXPECT_EQ(next(), FrameReader::Result::Frame) << size;
    }
}

TEST_F(FrameReaderTest, CountsTheFragmentsTogether) {
    source.bytes = frame(0x02, std::string(600, 'a')) + frame(0x80, std::string(400, 'b'));
    ASSERT_EQ(next(), FrameReader::Result::Frame);
    EXPECT_EQ(payload(), std::string(600, 'a') + std::string(400, 'b'));
    source.bytes = frame(0x02, std::string(600, 'a')) + frame(0x80, "", 401);
    EXPECT_EQ(next(), FrameReader::Result::Failed);
    EXPECT_EQ(reader.failure(), kCloseTooBig);
}

TEST_F(FrameReaderTest, TellsTheEndAfterWhatCameBeforeIt) {
    source.bytes = frame(0x81, "last");
    source.ended = true;
    ASSERT_EQ(next(), FrameReader::Result::Frame);
    EXPECT_EQ(payload(), "last");
    EXPECT_EQ(next(), FrameReader::Result::Ended);
}

TEST_F(FrameReaderTest, StopsReadingWhenTheBudgetIsSpent) {
    for (int i = 0; i < 10; ++i) {
        source.bytes +=
            frame(0x01, std::string(20, 'x')).replace(0, 1, i == 0 ? "\x01" : std::string(1, '\0'));
    }
    source.atOnce = 26;
    std::size_t budget = 100;
    EXPECT_EQ(reader.next(event, budget), FrameReader::Result::Nothing);
    EXPECT_EQ(budget, 0U);
    EXPECT_EQ(reader.received(), 104U);
}

}  // namespace
}  // namespace websocket
