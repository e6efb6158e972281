// Several messages in one publication.
#include "krpbus/client/live_batch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "krpbus/client/inbox.h"
#include "krpbus/messages/signal_message.h"

namespace {

using namespace std::chrono_literals;

// Messages can be destroyed only while the library is open, which a connection sees to elsewhere.
const natsStatus kOpened = nats_Open(-1);

const std::string kMac = "02:00:00:00:00:0A";
const std::string kDestination = "17_KLV1";

std::vector<std::uint8_t> bytesOf(const std::string& name, const std::string& text) {
    SignalMessage message;
    message.webappName = name;
    message.value = text;
    ByteWriter writer;
    message.encode(writer);
    return {writer.bytes().begin(), writer.bytes().end()};
}

krpbus::Received publication(std::span<const std::uint8_t> payload) {
    natsMsg* raw = nullptr;
    natsMsg_Create(&raw, "krp.M.bus.live.signals.own", "krp.M.to.HandheldServer",
                   reinterpret_cast<const char*>(payload.data()), static_cast<int>(payload.size()));
    return krpbus::received(krpbus::NatsMessage(raw), &kDestination);
}

ByteWriter batch(const std::vector<std::string>& loggers,
                 const std::vector<std::vector<std::uint8_t>>& messages) {
    ByteWriter writer;
    krpbus::beginBatch(writer, loggers);
    for (const auto& message : messages) {
        krpbus::addToBatch(writer, message);
    }
    return writer;
}

std::string wordFor(const krpbus::Received& part) {
    const auto message = MessageBase::decode(part.payload);
    const auto* const value = dynamic_cast<const SignalMessage*>(message.get());
    return value != nullptr ? value->webappName + "=" + value->value : "none";
}

std::vector<std::string> wordsFor(const std::vector<krpbus::Received>& parts) {
    std::vector<std::string> words;
    for (const auto& part : parts) {
        words.push_back(wordFor(part));
    }
    return words;
}

class LiveBatch : public testing::Test {
  protected:
    LiveBatch() { MessageBase::registerMessages(); }
};

TEST_F(LiveBatch, GivesBackItsMessagesAsIfEachHadComeAlone) {
    const ByteWriter two = batch({"other", kMac}, {bytesOf("a", "1"), bytesOf("b", "2")});
    std::vector<krpbus::Received> parts;
    {
        const krpbus::Received whole = publication(two.bytes());
        ASSERT_TRUE(krpbus::splitBatch(whole, kMac, parts));
    }
    EXPECT_EQ(wordsFor(parts), (std::vector<std::string>{"a=1", "b=2"})) << "they hold the bytes";
    for (const auto& part : parts) {
        EXPECT_EQ(*part.destination, kDestination);
        EXPECT_TRUE(part.sentForMany);
    }
}

TEST_F(LiveBatch, IsForTheLoggersThatItNames) {
    std::vector<krpbus::Received> parts;
    const auto message = bytesOf("a", "1");
    EXPECT_TRUE(krpbus::splitBatch(publication(batch({"other"}, {message}).bytes()), kMac, parts));
    EXPECT_TRUE(krpbus::splitBatch(publication(batch({}, {message}).bytes()), kMac, parts));
    EXPECT_TRUE(parts.empty());
}

TEST_F(LiveBatch, IsTakenWholeOrNotAtAll) {
    const ByteWriter good = batch({kMac}, {bytesOf("a", "1"), bytesOf("b", "2")});
    std::vector<krpbus::Received> parts{publication(bytesOf("before", "0"))};
    const std::size_t head = 4 + 4 + kMac.size();
    const std::size_t first = head + 4 + bytesOf("a", "1").size();
    for (std::size_t length = 1; length < good.size(); ++length) {
        if (length == head || length == first) {
            continue;  // the end of a shorter one
        }
        EXPECT_FALSE(krpbus::splitBatch(publication(good.bytes().first(length)), kMac, parts))
            << length;
        ASSERT_EQ(parts.size(), 1U);
    }
    EXPECT_FALSE(krpbus::splitBatch(publication(batch({kMac}, {{}}).bytes()), kMac, parts))
        << "a message without bytes";
    ByteWriter endless;
    endless.number(std::uint32_t{0xFFFFFFFF});
    EXPECT_FALSE(krpbus::splitBatch(publication(endless.bytes()), kMac, parts));
    EXPECT_EQ(parts.size(), 1U);
}

// What nobody has read for a while.
TEST_F(LiveBatch, IsSkippedMessageByMessage) {
    krpbus::Inbox inbox(std::size_t{1} << 30, 30ms);
    inbox.connected();
    const auto push = [&](const ByteWriter& writer) {
        std::vector<krpbus::Received> parts;
        EXPECT_TRUE(krpbus::splitBatch(publication(writer.bytes()), kMac, parts));
        inbox.push(parts);
    };
    push(batch({kMac}, {bytesOf("slow", "1"), bytesOf("quick", "1"), bytesOf("quick", "2")}));
    std::this_thread::sleep_for(50ms);
    push(batch({kMac}, {bytesOf("quick", "3"), bytesOf("quick", "4")}));
    inbox.look();
    std::vector<std::string> words;
    std::uint64_t skipped = 0;
    for (;;) {
        std::uint64_t now = 0;
        const krpbus::Received next = inbox.pop(now);
        skipped += now;
        if (!next.message) {
            break;
        }
        words.push_back(wordFor(next));
    }
    EXPECT_EQ(words, (std::vector<std::string>{"slow=1", "quick=4"}));
    EXPECT_EQ(skipped, 3U);
}

}  // namespace
