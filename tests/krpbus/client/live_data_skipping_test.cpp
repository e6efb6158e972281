// How old what waits may become before values are skipped.
#include "krpbus/client/live_data_skipping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/system_message.h"

namespace {

using namespace std::chrono_literals;

// Messages can be destroyed only while the library is open, which a connection sees to elsewhere.
const natsStatus kOpened = nats_Open(-1);

krpbus::Received received(const MessageBase& message) {
    ByteWriter writer;
    message.encode(writer);
    natsMsg* raw = nullptr;
    natsMsg_Create(&raw, "krp.M.to.me", "krp.M.to.HandheldServer",
                   reinterpret_cast<const char*>(writer.bytes().data()),
                   static_cast<int>(writer.size()));
    return krpbus::received(krpbus::NatsMessage(raw));
}

krpbus::Received value(const std::string& name, const std::string& text) {
    SignalMessage message;
    message.webappName = name;
    message.value = text;
    return received(message);
}

krpbus::Received notice(const std::string& text) {
    return received(SystemMessage(SystemMessage::SM_STATE, text));
}

// What a message says; "" for none.
std::string wordFor(const krpbus::Received& taken) {
    const natsMsg* const payload = taken.message.get();
    if (payload == nullptr) {
        return "";
    }
    const auto message =
        MessageBase::decode({reinterpret_cast<const std::uint8_t*>(natsMsg_GetData(payload)),
                             static_cast<std::size_t>(natsMsg_GetDataLength(payload))});
    const auto* const live = dynamic_cast<const SignalMessage*>(message.get());
    return live != nullptr ? live->webappName + "=" + live->value
                           : dynamic_cast<const SystemMessage&>(*message).getText();
}

TEST(LiveDataSkipping, BeginsWhenTheOldestMessageHasWaitedLongEnough) {
    krpbus::LiveDataSkipping queue(1000ms);
    queue.push(value("a", "1"), 0);
    queue.push(value("a", "2"), 999);
    EXPECT_EQ(queue.count(), 2U);
    queue.push(value("a", "3"), 1000);
    EXPECT_EQ(queue.count(), 1U);
    EXPECT_EQ(wordFor(queue.pop(1000)), "a=3");
    EXPECT_EQ(queue.takeSkipped(), 2U);
    EXPECT_EQ(queue.takeSkipped(), 0U);
}

TEST(LiveDataSkipping, BeginsForAConsumerThatIsMerelyTooSlow) {
    krpbus::LiveDataSkipping queue(1000ms);
    // A value each millisecond; every third millisecond the consumer takes one.
    std::int64_t oldest = 0;
    int taken = 0;
    for (std::int64_t now = 0; now < 20'000; ++now) {
        queue.push(value(now % 2 == 0 ? "a" : "b", std::to_string(now)), now);
        if (now % 3 == 0) {
            const krpbus::Received received = queue.pop(now);
            oldest = std::max(oldest, now - received.arrived);
            ++taken;
        }
    }
    EXPECT_LT(oldest, 1000);
    EXPECT_GT(taken, 6000) << "as much as the consumer can take";
}

TEST(LiveDataSkipping, KeepsEverythingElseThoughTheConsumerIsTooSlow) {
    krpbus::LiveDataSkipping queue(1000ms);
    std::vector<std::string> notices;
    std::vector<std::string> seen;
    const auto take = [&](std::int64_t now) {
        const std::string word = wordFor(queue.pop(now));
        if (word.starts_with("notice")) {
            seen.push_back(word);
        }
    };
    for (std::int64_t now = 0; now < 10'000; ++now) {
        queue.push(value("a", std::to_string(now)), now);
        if (now % 100 == 0) {
            notices.push_back("notice " + std::to_string(now));
            queue.push(notice(notices.back()), now);
        }
        if (now % 3 == 0) {
            take(now);
        }
    }
    while (queue.count() > 0) {
        take(10'000);
    }
    EXPECT_EQ(seen, notices);
}

TEST(LiveDataSkipping, BeginsThoughNothingComesAnyMore) {
    krpbus::LiveDataSkipping queue(1000ms);
    for (int i = 0; i < 100; ++i) {
        queue.push(value("a", std::to_string(i)), i);
    }
    EXPECT_EQ(wordFor(queue.pop(500)), "a=0");
    EXPECT_EQ(wordFor(queue.pop(1001)), "a=99") << "the others have become too old";
    EXPECT_EQ(queue.takeSkipped(), 98U);
}

TEST(LiveDataSkipping, HandsOutAnOldValueThatIsTheNewest) {
    krpbus::LiveDataSkipping queue(1000ms);
    queue.push(value("a", "1"), 0);
    queue.push(value("b", "1"), 0);
    EXPECT_EQ(wordFor(queue.pop(5000)), "a=1");
    EXPECT_EQ(wordFor(queue.pop(5000)), "b=1");
    EXPECT_EQ(queue.takeSkipped(), 0U);
}

TEST(LiveDataSkipping, EndsWhenAllThatWaitedHasBeenTaken) {
    krpbus::LiveDataSkipping queue(1000ms);
    queue.push(value("a", "1"), 0);
    queue.push(value("a", "2"), 1500);
    queue.pop(1500);
    queue.push(value("a", "3"), 1500);
    queue.push(value("a", "4"), 1501);
    EXPECT_EQ(queue.count(), 2U);
    EXPECT_EQ(wordFor(queue.pop(1502)), "a=3");
}

TEST(LiveDataSkipping, KnowsWhatWaitsInBytes) {
    krpbus::LiveDataSkipping queue(1000ms);
    queue.push(notice(std::string(10'000, 'x')), 0);
    EXPECT_GT(queue.bytes(), 10'000U);
    queue.pop(0);
    EXPECT_EQ(queue.bytes(), 0U);
}

}  // namespace
