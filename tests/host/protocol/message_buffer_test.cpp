#include "host/protocol/message_buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

namespace websocket {
namespace {

TEST(MessageBuffer, HasAZeroByteBehindEveryMessage) {
    MessageBuffer buffer;
    EXPECT_EQ(buffer.finish()[0], 0);
    const std::string part(1000, 'x');
    for (std::size_t size = 0; size < 200'000; size += part.size()) {
        ASSERT_TRUE(buffer.reserveGrowing(buffer.size() + part.size()));
        buffer.append(reinterpret_cast<const std::uint8_t*>(part.data()), part.size());
        ASSERT_EQ(buffer.finish()[buffer.size()], 0);
    }
    EXPECT_EQ(buffer.size(), 200'000U);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.finish()), 200'000),
              std::string(200'000, 'x'));
}

TEST(MessageBuffer, CanBeUsedAgainAfterALargeMessage) {
    MessageBuffer buffer;
    ASSERT_TRUE(buffer.reserveExactly(10'000'000));
    buffer.append(reinterpret_cast<const std::uint8_t*>("ab"), 2);
    buffer.clear();
    EXPECT_EQ(buffer.size(), 0U);
    ASSERT_TRUE(buffer.reserveGrowing(2));
    buffer.append(reinterpret_cast<const std::uint8_t*>("cd"), 2);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer.finish()), "cd");
}

TEST(MessageBuffer, SaysWhenThereIsNoMemoryAndKeepsWhatItHas) {
    MessageBuffer buffer;
    ASSERT_TRUE(buffer.reserveExactly(2));
    buffer.append(reinterpret_cast<const std::uint8_t*>("ab"), 2);
    EXPECT_FALSE(buffer.reserveExactly(std::numeric_limits<std::size_t>::max()));
    EXPECT_FALSE(buffer.reserveGrowing(std::numeric_limits<std::size_t>::max() - 1));
    EXPECT_STREQ(reinterpret_cast<char*>(buffer.finish()), "ab");
}

}  // namespace
}  // namespace websocket
