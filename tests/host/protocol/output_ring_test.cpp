#include "host/protocol/output_ring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace websocket {
namespace {

const std::uint8_t* bytes(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

std::string contents(const OutputRing& ring) {
    iovec pieces[2];
    std::string all;
    const int count = ring.readable(pieces);
    for (int i = 0; i < count; ++i) {
        all.append(static_cast<char*>(pieces[i].iov_base), pieces[i].iov_len);
    }
    return all;
}

TEST(OutputRing, KeepsTheOrderWhileItGoesRound) {
    OutputRing ring(7);
    std::string expected;
    char letter = 'a';
    for (int round = 0; round < 200; ++round) {
        const std::string more(static_cast<std::size_t>(round % 5 + 1), letter);
        letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1);
        const std::size_t taken = ring.append(bytes(more), more.size());
        EXPECT_EQ(taken, std::min(more.size(), 7 - expected.size()));
        expected += more.substr(0, taken);
        ASSERT_EQ(contents(ring), expected);
        const std::size_t gone =
            std::min<std::size_t>(expected.size(), static_cast<std::size_t>(round % 4));
        ring.consume(gone);
        expected.erase(0, gone);
        ASSERT_EQ(contents(ring), expected);
        EXPECT_EQ(ring.free(), 7 - expected.size());
    }
}

TEST(OutputRing, StartsAtTheFrontAgainWhenItWasEmpty) {
    OutputRing ring(8);
    ring.append(bytes("abcdef"), 6);
    ring.consume(6);
    ring.append(bytes("ghijkl"), 6);
    iovec pieces[2];
    EXPECT_EQ(ring.readable(pieces), 1);
    ring.clear();
    EXPECT_TRUE(ring.empty());
    EXPECT_EQ(ring.readable(pieces), 0);
}

}  // namespace
}  // namespace websocket
