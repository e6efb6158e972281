// The queue behind the reader: what a consumer that stands still finds, and what it misses.
#include "krpbus/client/inbox.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <string>
#include <thread>
#include <vector>

#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/system_message.h"

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kStall{30};
constexpr std::size_t kPlenty = std::size_t{1} << 30;
const std::string kSender = "krp.M.to.HandheldServer";
const std::string kOtherSender = "krp.N.to.HandheldServer";

// Messages can be destroyed only while the library is open, which a connection sees to elsewhere.
const natsStatus kOpened = nats_Open(-1);

krpbus::Received received(const MessageBase& message, const std::string& sender = kSender) {
    ByteWriter writer;
    message.encode(writer);
    natsMsg* raw = nullptr;
    natsMsg_Create(&raw, "krp.M.to.me", sender.c_str(),
                   reinterpret_cast<const char*>(writer.bytes().data()),
                   static_cast<int>(writer.size()));
    return krpbus::received(krpbus::NatsMessage(raw));
}

SignalMessage value(const std::string& name, const std::string& text) {
    SignalMessage message;
    message.webappName = name;
    message.value = text;
    return message;
}

BusLoadExtMessage load(busid_t bus, std::uint8_t channel, std::int32_t figure) {
    BusLoadExtMessage message;
    message.busId = bus;
    message.channel = channel;
    message.value = figure;
    return message;
}

RouterMessage wrapped(const std::string& source, const MessageBase& message) {
    return RouterMessage(source, "me", message.clone());
}

// One word per message, so that a whole queue can be compared.
std::string wordFor(const MessageBase& message) {
    if (const auto* const signal = dynamic_cast<const SignalMessage*>(&message)) {
        return signal->webappName + "=" + signal->value;
    }
    if (const auto* const figure = dynamic_cast<const BusLoadExtMessage*>(&message)) {
        return std::to_string(figure->busId) + "/" + std::to_string(figure->channel) + "=" +
               std::to_string(figure->value);
    }
    if (const auto* const router = dynamic_cast<const RouterMessage*>(&message)) {
        return router->getSourceAddress() + ":" + wordFor(*router->getMessage());
    }
    return dynamic_cast<const SystemMessage&>(message).text;
}

// What one pass of the consumer takes.
std::vector<std::string> drain(krpbus::Inbox& inbox, std::uint64_t& skipped) {
    std::vector<std::string> words;
    inbox.look();
    for (;;) {
        std::uint64_t skippedNow = 0;
        const krpbus::Received next = inbox.pop(skippedNow);
        skipped += skippedNow;
        const natsMsg* const payload = next.message.get();
        if (payload == nullptr) {
            return words;
        }
        const auto message =
            MessageBase::decode({reinterpret_cast<const std::uint8_t*>(natsMsg_GetData(payload)),
                                 static_cast<std::size_t>(natsMsg_GetDataLength(payload))});
        words.push_back(message ? wordFor(*message) : "(malformed)");
    }
}

std::vector<std::string> drain(krpbus::Inbox& inbox) {
    std::uint64_t skipped = 0;
    return drain(inbox, skipped);
}

bool isReadable(const krpbus::Inbox& inbox) {
    pollfd polled{inbox.fd(), POLLIN, 0};
    return poll(&polled, 1, 0) == 1;
}

void standStill() {
    std::this_thread::sleep_for(2 * kStall);
}

TEST(Inbox, IsCompleteAndInOrderWhileTheConsumerKeepsUp) {
    krpbus::Inbox inbox(kPlenty, 1h);
    inbox.connected();
    std::vector<std::string> expected;
    for (int i = 0; i < 1000; ++i) {
        inbox.push(received(value("a", std::to_string(i))));
        expected.push_back("a=" + std::to_string(i));
    }
    std::uint64_t skipped = 0;
    EXPECT_EQ(drain(inbox, skipped), expected);
    EXPECT_EQ(skipped, 0U);
}

TEST(Inbox, WakesNoConsumerForWhatItHasReadItselfUntilItWaitsWithSomethingLeft) {
    krpbus::Inbox inbox(kPlenty, 1h);
    inbox.connected();
    std::vector<krpbus::Received> read;
    read.push_back(received(value("a", "1")));
    read.push_back(received(value("a", "2")));
    EXPECT_FALSE(inbox.pushOwn(read));
    EXPECT_FALSE(isReadable(inbox));
    std::uint64_t skipped = 0;
    EXPECT_TRUE(inbox.look());
    EXPECT_TRUE(inbox.pop(skipped).message);
    EXPECT_FALSE(inbox.beginWait());
    EXPECT_TRUE(isReadable(inbox));
    EXPECT_EQ(drain(inbox).size(), 1U);
    EXPECT_TRUE(inbox.beginWait());
    EXPECT_FALSE(isReadable(inbox));
}

TEST(Inbox, KeepsTheNewestValuePerSignalOnceTheConsumerHasStoodStill) {
    krpbus::Inbox inbox(kPlenty, kStall);
    inbox.connected();
    inbox.push(received(value("a", "1")));
    inbox.push(received(value("b", "1")));
    inbox.push(received(SystemMessage(4, "notice")));
    inbox.push(received(value("a", "2")));
    standStill();
    inbox.push(received(value("b", "2")));
    inbox.push(received(SystemMessage(4, "notice")));
    inbox.push(received(value("c", "1")));
    inbox.push(received(value("b", "3")));

    std::uint64_t skipped = 0;
    EXPECT_EQ(drain(inbox, skipped),
              (std::vector<std::string>{"notice", "a=2", "notice", "c=1", "b=3"}))
        << "in the place of the newest, all else complete and in order";
    EXPECT_EQ(skipped, 3U);
}

TEST(Inbox, KeepsTheNewestFigurePerBusAndChannel) {
    krpbus::Inbox inbox(kPlenty, kStall);
    inbox.connected();
    inbox.push(received(load(BUSID_CAN, 0, 1)));
    standStill();
    inbox.push(received(load(BUSID_CAN, 1, 2)));
    inbox.push(received(load(BUSID_LIN, 0, 3)));
    inbox.push(received(load(BUSID_CAN, 0, 4)));
    EXPECT_EQ(drain(inbox), (std::vector<std::string>{"1/1=2", "5/0=3", "1/0=4"}));
}

TEST(Inbox, KeepsSendersApart) {
    krpbus::Inbox inbox(kPlenty, kStall);
    inbox.connected();
    inbox.push(received(value("a", "1"), kSender));
    standStill();
    inbox.push(received(value("a", "2"), kOtherSender));
    inbox.push(received(wrapped("ksl://0/N/HandheldServer", value("a", "3"))));
    inbox.push(received(wrapped("ksl://0/O/HandheldServer", value("a", "4"))));
    inbox.push(received(wrapped("ksl://0/N/HandheldServer", value("a", "5"))));
    EXPECT_EQ(drain(inbox), (std::vector<std::string>{"a=1", "a=2", "ksl://0/O/HandheldServer:a=4",
                                                      "ksl://0/N/HandheldServer:a=5"}));
}

TEST(Inbox, KeepsTheNewestValuePerPlaceOnAMonitorScreen) {
    krpbus::Inbox inbox(kPlenty, kStall);
    inbox.connected();
    SignalMessage first = value("", "1");
    first.instanceName = "line 1";
    SignalMessage second = value("", "2");
    second.instanceName = "line 2";
    inbox.push(received(first));
    standStill();
    inbox.push(received(second));
    inbox.push(received(first));
    EXPECT_EQ(drain(inbox), (std::vector<std::string>{"=2", "=1"}));
}

TEST(Inbox, SkipsNothingBeforeTheConsumerHasStoodStill) {
    krpbus::Inbox inbox(kPlenty, 1h);
    inbox.connected();
    inbox.push(received(value("a", "1")));
    standStill();
    inbox.push(received(value("a", "2")));
    EXPECT_EQ(drain(inbox), (std::vector<std::string>{"a=1", "a=2"}));
}

TEST(Inbox, IsCompleteAgainOnceDrained) {
    krpbus::Inbox inbox(kPlenty, kStall);
    inbox.connected();
    inbox.push(received(value("a", "1")));
    standStill();
    inbox.push(received(value("a", "2")));
    std::uint64_t skipped = 0;
    EXPECT_EQ(drain(inbox, skipped), std::vector<std::string>{"a=2"});
    EXPECT_EQ(skipped, 1U);

    skipped = 0;
    inbox.push(received(value("a", "3")));
    inbox.push(received(value("a", "4")));
    EXPECT_EQ(drain(inbox, skipped), (std::vector<std::string>{"a=3", "a=4"}));
    EXPECT_EQ(skipped, 0U);
}

TEST(Inbox, CountsWhatWasSkippedWhenTheLastMessageIsTaken) {
    krpbus::Inbox inbox(kPlenty, kStall);
    inbox.connected();
    inbox.push(received(value("a", "1")));
    standStill();
    inbox.push(received(value("a", "2")));
    inbox.push(received(value("b", "1")));
    std::uint64_t skipped = 0;
    inbox.look();
    inbox.pop(skipped);
    EXPECT_EQ(skipped, 0U) << "not drained yet";
    inbox.pop(skipped);
    EXPECT_EQ(skipped, 1U);
}

TEST(Inbox, HandsOutInOnePassWhatWaitedWhenTheConsumerLooked) {
    krpbus::Inbox inbox(kPlenty, 1h);
    inbox.connected();
    std::uint64_t skipped = 0;
    inbox.push(received(SystemMessage(4, "before any look")));
    EXPECT_EQ(inbox.pop(skipped).message, nullptr);

    inbox.push(received(SystemMessage(4, "second")));
    EXPECT_TRUE(inbox.look());
    EXPECT_NE(inbox.pop(skipped).message, nullptr);
    inbox.push(received(SystemMessage(4, "third")));
    EXPECT_NE(inbox.pop(skipped).message, nullptr);
    EXPECT_EQ(inbox.pop(skipped).message, nullptr) << "what came meanwhile is for the next pass";
    EXPECT_EQ(inbox.pop(skipped).message, nullptr) << "again and again";
    EXPECT_TRUE(isReadable(inbox)) << "which begins at once";
    EXPECT_EQ(drain(inbox), std::vector<std::string>{"third"});
    EXPECT_FALSE(isReadable(inbox));
}

TEST(Inbox, StaysReadableWhileTheConsumerHasNotTakenAll) {
    krpbus::Inbox inbox(kPlenty, 1h);
    inbox.connected();
    std::vector<krpbus::Received> batch;
    for (int i = 0; i < 100; ++i) {
        batch.push_back(received(SystemMessage(4, std::to_string(i))));
    }
    EXPECT_FALSE(inbox.push(batch));
    std::uint64_t skipped = 0;
    EXPECT_TRUE(inbox.look());
    for (int i = 0; i < 99; ++i) {
        EXPECT_NE(inbox.pop(skipped).message, nullptr);
    }
    inbox.disconnected();
    inbox.connected();
    EXPECT_TRUE(isReadable(inbox));
    inbox.disconnected();
    EXPECT_TRUE(inbox.look()) << "the server has gone, but one is left";
    EXPECT_EQ(drain(inbox), std::vector<std::string>{"99"});
    EXPECT_FALSE(inbox.look());
}

TEST(Inbox, SkipsNothingThatTheConsumerHasTakenOut) {
    krpbus::Inbox inbox(kPlenty, kStall);
    inbox.connected();
    for (int i = 0; i < 100; ++i) {
        inbox.push(received(value("a", std::to_string(i))));
    }
    std::uint64_t skipped = 0;
    EXPECT_TRUE(inbox.look());
    EXPECT_NE(inbox.pop(skipped).message, nullptr);
    standStill();
    inbox.push(received(value("a", "newest")));
    std::vector<std::string> expected;
    for (int i = 1; i < 64; ++i) {
        expected.push_back("a=" + std::to_string(i));
    }
    expected.push_back("a=newest");
    EXPECT_EQ(drain(inbox, skipped), expected);
    EXPECT_EQ(skipped, 36U);
}

TEST(Inbox, HoldsNoMoreThanTheNewestHoweverMuchComes) {
    krpbus::Inbox inbox(100'000, kStall);
    inbox.connected();
    inbox.push(received(SystemMessage(4, "first")));
    standStill();
    for (int i = 0; i < 200'000; ++i) {
        ASSERT_FALSE(inbox.push(received(value(std::to_string(i % 10), std::to_string(i)))));
    }
    std::vector<std::string> expected{"first"};
    for (int i = 199'990; i < 200'000; ++i) {
        expected.push_back(std::to_string(i % 10) + "=" + std::to_string(i));
    }
    std::uint64_t skipped = 0;
    EXPECT_EQ(drain(inbox, skipped), expected);
    EXPECT_EQ(skipped, 199'990U);
}

TEST(Inbox, KeepsMalformedLiveDataForTheDecoderToReport) {
    krpbus::Inbox inbox(kPlenty, kStall);
    inbox.connected();
    natsMsg* raw = nullptr;
    const char truncated[] = {'\x80', '\x10', 0, 0, 0};  // a SignalMessage that ends too early
    natsMsg_Create(&raw, "krp.M.to.me", nullptr, truncated, sizeof truncated);
    krpbus::Received malformed = krpbus::received(krpbus::NatsMessage(raw));
    inbox.push(received(value("a", "1")));
    standStill();
    inbox.push(std::move(malformed));
    inbox.push(received(value("a", "2")));
    EXPECT_EQ(drain(inbox), (std::vector<std::string>{"(malformed)", "a=2"}));
}

TEST(Inbox, CountsAsDisconnectedPastItsBound) {
    krpbus::Inbox inbox(10'000, 1h);
    inbox.connected();
    const SystemMessage notice(4, std::string(1000, 'x'));
    int pushed = 1;
    while (!inbox.push(received(notice))) {
        ASSERT_LT(++pushed, 20);
    }
    EXPECT_EQ(pushed, 8) << "eight messages of 1000 bytes and their overhead";
    EXPECT_FALSE(inbox.isConnected());
    EXPECT_TRUE(isReadable(inbox));
    std::uint64_t skipped = 0;
    EXPECT_EQ(inbox.pop(skipped).message, nullptr);
    EXPECT_FALSE(inbox.push(received(notice))) << "reported once";

    EXPECT_FALSE(inbox.look()) << "the consumer learns of it";
    EXPECT_TRUE(inbox.isConnected()) << "and goes on as after a reconnect";
    EXPECT_EQ(inbox.connectionCount(), 2U);
    inbox.push(received(value("a", "1")));
    EXPECT_TRUE(inbox.look());
    EXPECT_EQ(drain(inbox), std::vector<std::string>{"a=1"});
}

TEST(Inbox, TakesASingleMessageThatIsLargerThanItsBound) {
    krpbus::Inbox inbox(10'000, 1h);
    inbox.connected();
    const std::string large(50'000, 'x');
    EXPECT_FALSE(inbox.push(received(SystemMessage(4, large))));
    EXPECT_EQ(drain(inbox), std::vector<std::string>{large});
}

TEST(Inbox, WakesTheConsumerWhileSomethingWaitsOrTheServerIsGone) {
    krpbus::Inbox inbox(kPlenty, 1h);
    EXPECT_TRUE(isReadable(inbox)) << "never connected";
    EXPECT_FALSE(inbox.look());
    inbox.connected();
    EXPECT_FALSE(isReadable(inbox));
    EXPECT_TRUE(inbox.look());

    inbox.push(received(value("a", "1")));
    EXPECT_TRUE(isReadable(inbox));
    drain(inbox);
    EXPECT_FALSE(isReadable(inbox));

    inbox.disconnected();
    EXPECT_TRUE(isReadable(inbox));
    EXPECT_FALSE(inbox.look());
    inbox.connected();
    EXPECT_FALSE(isReadable(inbox));
    EXPECT_EQ(inbox.connectionCount(), 2U);

    inbox.addVanished("somebody");
    EXPECT_TRUE(isReadable(inbox));
    EXPECT_EQ(inbox.takeVanished(), std::vector<std::string>{"somebody"});
    EXPECT_FALSE(isReadable(inbox));
}

}  // namespace
