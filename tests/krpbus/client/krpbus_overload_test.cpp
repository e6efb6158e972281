// A client whose consumer stands still, or to which somebody sends what is no message.
#include <gtest/gtest.h>
#include <nats/nats.h>

#include <thread>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/log_capture.h"
#include "tests/krpbus/client/bus_test_client.h"

namespace {

using namespace std::chrono_literals;

const std::string kMac = "02:00:00:00:00:01";

KRPBusOptions impatient() {
    KRPBusOptions options;
    options.skipAfter = 100ms;
    return options;
}

// Skips nothing, however long a busy machine keeps it from reading.
KRPBusOptions patient() {
    KRPBusOptions options;
    options.skipAfter = 1h;
    return options;
}

// Waits until the server has handed the client all that was sent before.
void letArrive(KRPBusClient& sender, KRPBusClient& witness) {
    synchronise(sender, witness);
}

std::string valueOf(const std::unique_ptr<MessageBase>& message) {
    const auto* const live = dynamic_cast<const SignalMessage*>(message.get());
    if (live != nullptr) {
        return live->value;
    }
    const auto* const notice = dynamic_cast<const SystemMessage*>(message.get());
    return notice != nullptr ? notice->text : "(nothing)";
}

TEST(KrpBusOverload, SkipsOldValuesAndCountsThemInOneLine) {
    const NatsServer server;
    const auto slow = makeClient(server, "slow", kMac, impatient());
    const auto sender = makeClient(server, "sender");
    synchronise(*slow, *sender);
    const LogCapture log;

    sender->sendTo("sender", "slow", signal("speed", "first"));
    ASSERT_TRUE(readable(*slow, kPatience));
    std::this_thread::sleep_for(200ms);
    for (int i = 0; i < 500; ++i) {
        sender->sendTo("sender", "slow", signal("speed", std::to_string(i)));
    }
    sender->sendTo("sender", "slow", std::make_unique<SystemMessage>(4, "last"));
    std::string seen;
    std::string value;
    while (value != "last") {
        // The last one is there once it has overtaken nothing: take from a full queue only.
        if (seen.empty()) {
            letArrive(*sender, *sender);
            std::this_thread::sleep_for(100ms);
        }
        value = valueOf(nextMessage(*slow));
        seen += value + " ";
    }
    EXPECT_EQ(seen, "499 last ");
    EXPECT_TRUE(nothingWaits(*slow));
    EXPECT_EQ(log.logLines(),
              std::vector<std::string>{"[INFO] KLV::getMessage() skipped 500 older values of live "
                                       "data, since nobody read them"});
}

TEST(KrpBusOverload, SlowsNobodyElseDown) {
    const NatsServer server;
    const auto slow = makeClient(server, "slow", kMac, impatient());
    const auto quick = makeClient(server, "quick", kMac, patient());
    const auto sender = makeClient(server, "sender");
    quick->registerBus("Live");
    slow->registerBus("Live");
    synchronise(*slow, *quick);
    synchronise(*quick, *sender);
    const std::string large(10'000, 'x');
    for (int i = 0; i < 10'000; ++i) {  // 100 megabytes that "slow" does not read
        sender->sendToBus("sender", "Live", signal("speed", large));
        if (i % 100 == 99) {
            for (int taken = 0; taken < 100; ++taken) {
                ASSERT_NE(nextMessage(*quick), nullptr);
            }
        }
    }
    EXPECT_TRUE(slow->isConnected());
    EXPECT_EQ(slow->getConnectionCount(), 1U);
}

TEST(KrpBusOverload, CountsAsDisconnectedWhenTooMuchWaits) {
    const NatsServer server;
    KRPBusOptions options;
    options.queueLimit = 100'000;
    const auto slow = makeClient(server, "slow", kMac, options);
    const auto sender = makeClient(server, "sender");
    synchronise(*slow, *sender);
    const LogCapture log;
    for (int i = 0; i < 20; ++i) {
        sender->sendTo("sender", "slow",
                       std::make_unique<SystemMessage>(4, std::string(10'000, 'x')));
    }
    ASSERT_TRUE(eventually([&] { return !slow->isConnected(); }));
    letArrive(*sender, *sender);
    EXPECT_EQ(log.logLines(), std::vector<std::string>{"[ERROR] KLV::receive() too much is waiting "
                                                       "to be read, dropped all of it"});
    EXPECT_FALSE(slow->read());
    EXPECT_EQ(slow->getConnectionCount(), 2U);
    EXPECT_TRUE(slow->isConnected());
    synchronise(*slow, *sender);
}

// A participant that knows nothing of our messages.
class Stranger {
  public:
    explicit Stranger(const NatsServer& server) {
        natsConnection_ConnectTo(&connection_, ("nats://" + server.address()).c_str());
    }
    ~Stranger() { natsConnection_Destroy(connection_); }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

    void send(const char* reply, const std::string& payload) {
        constexpr const char* kSubject = "krp.02:00:00:00:00:01.to.me";
        const int size = static_cast<int>(payload.size());
        if (reply == nullptr) {
            natsConnection_Publish(connection_, kSubject, payload.data(), size);
        } else {
            natsConnection_PublishRequest(connection_, kSubject, reply, payload.data(), size);
        }
        natsConnection_Flush(connection_);
    }

  private:
    natsConnection* connection_ = nullptr;
};

const std::string kNotice("\x00\x80\x00\x04\x00\x00\x00\x02hi", 10);

TEST(KrpBusOverload, DropsWhatIsNoMessageWithOneLineEach) {
    const NatsServer server;
    const auto client = makeClient(server, "me");
    synchronise(*client, *client);
    Stranger stranger(server);
    const LogCapture log;
    stranger.send("krp.02:00:00:00:00:01.to.HandheldServer", "garbage");
    stranger.send(nullptr, std::string(3, '\0'));
    stranger.send(nullptr, kNotice.substr(0, 9));
    stranger.send(nullptr, "");  // a probe
    stranger.send(nullptr, kNotice);
    EXPECT_EQ(valueOf(nextMessage(*client)), "hi");
    EXPECT_EQ(
        log.logLines(),
        (std::vector<std::string>{
            "[ERROR] KLV::getMessage() dropped 7 bytes that are no message, from "
            "krp.02:00:00:00:00:01.to.HandheldServer",
            "[ERROR] KLV::getMessage() dropped 3 bytes that are no message, from an unknown sender",
            "[ERROR] KLV::getMessage() dropped 9 bytes that are no message, from an unknown "
            "sender"}));
}

TEST(KrpBusOverload, TakesAMessageFromSomebodyWithoutAnAddress) {
    const NatsServer server;
    const auto client = makeClient(server, "me");
    synchronise(*client, *client);
    Stranger stranger(server);
    for (const char* reply :
         {"_INBOX.x.y", "krp.M.bus.to", "krp.M.to", "krp.M.to.a%2", "krp..to.a", "krp.M.to.a.b"}) {
        stranger.send(reply, kNotice);
        const auto message = nextMessage(*client);
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->getSource(), "") << reply;
    }
    stranger.send("krp.M.to.a%2E", kNotice);
    EXPECT_EQ(nextMessage(*client)->getSource(), "ksl://0/M/a.");
}

}  // namespace
