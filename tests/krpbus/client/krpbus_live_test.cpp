// Live data that a logger sends once for many clients.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/client/live_batch.h"
#include "krpbus/client/sender_order.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/log_capture.h"
#include "tests/krpbus/client/bus_test_client.h"

namespace {

using krpbus::LiveData;
using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

const std::string kLogger = "02:00:00:00:00:0A";
const std::string kOther = "02:00:00:00:00:0B";
const std::string kThird = "02:00:00:00:00:0C";

// A bare program on the bus that sees the publications themselves.
class Watcher {
  public:
    Watcher(const NatsServer& server, const std::string& subject) {
        natsConnection_ConnectTo(&connection_,
                                 ("nats://127.0.0.1:" + std::to_string(server.port())).c_str());
        natsConnection_SubscribeSync(&subscription_, connection_, subject.c_str());
        natsConnection_Flush(connection_);
    }
    ~Watcher() {
        natsSubscription_Destroy(subscription_);
        natsConnection_Destroy(connection_);
    }
    // The next publication; null when none comes in time.
    krpbus::NatsMessage next(std::int64_t milliseconds = 10'000) {
        natsMsg* message = nullptr;
        natsSubscription_NextMsg(&message, subscription_, milliseconds);
        return krpbus::NatsMessage(message);
    }
    void publish(const std::string& subject, const std::string& reply, const std::string& payload) {
        natsConnection_PublishRequest(connection_, subject.c_str(), reply.c_str(), payload.data(),
                                      static_cast<int>(payload.size()));
        natsConnection_Flush(connection_);
    }

  private:
    natsConnection* connection_ = nullptr;
    natsSubscription* subscription_ = nullptr;
};

std::string headerOf(const krpbus::NatsMessage& message, const char* key) {
    const char* value = nullptr;
    return message && natsMsgHeader_Get(message.get(), key, &value) == NATS_OK ? value : "none";
}

class KrpBusLive : public testing::Test {
  protected:
    std::unique_ptr<KRPBusClient> listener(const std::string& name, const std::string& mac,
                                           LiveData data = LiveData::Signals) {
        auto made = makeClient(server_, name, mac);
        made->listenToLive(data);
        synchronise(*made, *logger_);
        return made;
    }
    // Sends values, "name=text", in one call.
    void send(const Strings& loggers, const Strings& names, LiveData data = LiveData::Signals) {
        std::vector<std::unique_ptr<MessageBase>> messages;
        for (const std::string& name : names) {
            messages.push_back(signal(name, "1"));
        }
        logger_->sendLive("HandheldServer", data, loggers, messages);
    }
    // The name of the next value that comes in bare.
    static std::string next(KRPBusClient& client) { return nameOf(nextMessage(client).get()); }
    static std::string nameOf(const MessageBase* message) {
        const auto* const value = dynamic_cast<const SignalMessage*>(message);
        return value != nullptr ? value->webappName : "(none)";
    }
    // What has come in before a notice that follows all else.
    Strings all(KRPBusClient& client, const std::string& address) {
        logger_->sendTo("HandheldServer", address, std::make_unique<SystemMessage>(4, "last"));
        Strings names;
        while (const auto message = nextMessage(client)) {
            const MessageBase* inner = message.get();
            if (const auto* const router = dynamic_cast<const RouterMessage*>(inner)) {
                inner = router->getMessage();
            }
            if (dynamic_cast<const SystemMessage*>(inner) != nullptr) {
                return names;
            }
            names.push_back(nameOf(inner));
        }
        names.emplace_back("(no end)");
        return names;
    }

    NatsServer server_;
    std::unique_ptr<KRPBusClient> logger_ = makeClient(server_, "HandheldServer", kLogger);
};

TEST_F(KrpBusLive, ComesBareToAllWhoListenOnTheOwnLogger) {
    const auto first = listener("1_KLV1", kLogger);
    const auto second = listener("2_KLV2", kLogger);
    send({}, {"speed"});
    for (KRPBusClient* client : {first.get(), second.get()}) {
        const auto message = nextMessage(*client);
        EXPECT_EQ(nameOf(message.get()), "speed");
        EXPECT_EQ(message->getSource(), "HandheldServer");
        EXPECT_EQ(message->getDestination(), client->getName());
    }
}

TEST_F(KrpBusLive, ComesToOtherLoggersAsIfSentToEachClientAlone) {
    const auto client = listener("1_KLV1", kOther);
    const auto own = listener("2_KLV2", kLogger);
    send({kOther}, {"speed"});
    logger_->sendTo("HandheldServer", "ksl://0/" + kOther + "/1_KLV1", signal("speed", "1"));
    const auto shared = nextMessage(*client);
    const auto alone = nextMessage(*client);
    ASSERT_NE(dynamic_cast<const RouterMessage*>(shared.get()), nullptr);
    EXPECT_EQ(shared->toString(), alone->toString());
    EXPECT_EQ(shared->getSource(), alone->getSource());
    EXPECT_EQ(shared->getSource(), "ksl://0/" + kLogger + "/HandheldServer");
    EXPECT_EQ(shared->getDestination(), alone->getDestination());
    EXPECT_EQ(all(*own, "2_KLV2"), Strings()) << "it is not for the own logger's";
}

TEST_F(KrpBusLive, GoesToTheLoggersThatAreNamedOnly) {
    const auto other = listener("1_KLV1", kOther);
    const auto third = listener("2_KLV2", kThird);
    send({kThird}, {"for one"});
    send({kOther, kThird}, {"for both"});
    EXPECT_EQ(all(*other, "ksl://0/" + kOther + "/1_KLV1"), Strings{"for both"});
    EXPECT_EQ(all(*third, "ksl://0/" + kThird + "/2_KLV2"), (Strings{"for one", "for both"}));
}

TEST_F(KrpBusLive, BringsSignalsOrLoadsToWhoListensToThem) {
    const auto signals = listener("1_KLV1", kLogger);
    const auto loads = listener("2_KLV2", kLogger, LiveData::Loads);
    send({}, {"value"});
    send({}, {"load"}, LiveData::Loads);
    EXPECT_EQ(all(*signals, "1_KLV1"), Strings{"value"});
    EXPECT_EQ(all(*loads, "2_KLV2"), Strings{"load"});
}

TEST_F(KrpBusLive, EndsForOneWhileItGoesOnForOthers) {
    const auto first = listener("1_KLV1", kLogger);
    const auto second = listener("2_KLV2", kLogger);
    first->listenToLive(LiveData::Signals);
    first->endListeningToLive(LiveData::Signals);
    first->endListeningToLive(LiveData::Signals);
    synchronise(*first, *logger_);
    send({}, {"after the end"});
    EXPECT_EQ(all(*second, "2_KLV2"), Strings{"after the end"});
    EXPECT_EQ(all(*first, "1_KLV1"), Strings());
    first->listenToLive(LiveData::Signals);
    synchronise(*first, *logger_);
    send({}, {"again"});
    EXPECT_EQ(all(*first, "1_KLV1"), Strings{"again"}) << "and once";
}

TEST_F(KrpBusLive, KeepsItsPlaceAmongWhatIsSentToTheClientAlone) {
    const auto client = listener("1_KLV1", kLogger);
    Strings expected;
    {
        const KRPBusClient::Burst burst(*logger_);
        for (int i = 0; i < 300; ++i) {
            const std::string number = std::to_string(i);
            send({}, {"a" + number, "b" + number});
            logger_->sendTo("HandheldServer", "1_KLV1", signal("alone" + number, "1"));
            if (i % 3 == 0) {
                logger_->sendTo("HandheldServer", "1_KLV1", signal("too" + number, "1"));
            }
            expected.insert(expected.end(), {"a" + number, "b" + number, "alone" + number});
            if (i % 3 == 0) {
                expected.push_back("too" + number);
            }
        }
    }
    EXPECT_EQ(all(*client, "1_KLV1"), expected);
}

// Who begins to listen in the middle has not received the one before.
TEST_F(KrpBusLive, SaysOfEachPublicationWhereItsPlaceIs) {
    Watcher watcher(server_, "krp." + kLogger + ".bus.live.signals.own");
    send({}, {"first"});
    send({}, {"second"});
    const std::string first = headerOf(watcher.next(), krpbus::kOrderHeader);
    const std::string second = headerOf(watcher.next(), krpbus::kOrderHeader);
    EXPECT_NE(first, "none");
    EXPECT_NE(second, "none");
    EXPECT_NE(first, second);
}

TEST_F(KrpBusLive, TravelsTogetherAsFarAsThatSavesAnything) {
    const auto client = listener("1_KLV1", kLogger);
    Watcher watcher(server_, "krp." + kLogger + ".bus.live.signals.own");
    Strings names;
    for (int i = 0; i < 1000; ++i) {
        names.push_back("signal" + std::to_string(i));
    }
    names[500] += std::string(100'000, 'x');  // more than travels together
    send({}, names);
    int publications = 0;
    for (std::size_t bytes = 0; bytes < 1000 * 60 + 100'000; ++publications) {
        const auto publication = watcher.next();
        ASSERT_NE(publication, nullptr);
        const auto size = static_cast<std::size_t>(natsMsg_GetDataLength(publication.get()));
        EXPECT_TRUE(size <= 16 * 1024 || (size > 100'000 && size < 100'300)) << size;
        bytes += size;
    }
    EXPECT_LT(publications, 20);
    EXPECT_EQ(all(*client, "1_KLV1"), names);
}

TEST_F(KrpBusLive, GoesOnAfterAReconnect) {
    const auto client = listener("1_KLV1", kLogger);
    restart(server_, {logger_.get(), client.get()});
    synchronise(*client, *logger_);
    send({}, {"after"});
    EXPECT_EQ(all(*client, "1_KLV1"), Strings{"after"});
}

TEST_F(KrpBusLive, ReportsWhatIsNoneAndLosesNothingElse) {
    const auto client = listener("1_KLV1", kLogger);
    Watcher watcher(server_, "nothing");
    const LogCapture log;
    watcher.publish("krp." + kLogger + ".bus.live.signals.own", "krp.M.to.HandheldServer", "junk");
    send({}, {"good"});
    EXPECT_EQ(all(*client, "1_KLV1"), Strings{"good"});
    EXPECT_EQ(log.logLines(), Strings{"[ERROR] KLV::receive() dropped 4 bytes that are no messages "
                                      "of live data, from krp.M.to.HandheldServer"});
}

TEST_F(KrpBusLive, IsAskedForBesideTheBytesAlsoThroughAForwarder) {
    const auto client = makeClient(server_, "1_KLV1", kLogger);
    const auto remote = makeClient(server_, "HandheldServer", kOther);
    logger_->addParticipant("KSLForwarder");
    synchronise(*client, *logger_);
    synchronise(*remote, *logger_);
    SystemMessage start(SystemMessage::SM_STATE, "77-LVStartSignals");
    for (const bool takesShared : {true, false, true}) {
        start.setTakesShared(takesShared);
        client->sendTo("1_KLV1", "HandheldServer", start.clone());
        const auto direct = nextMessage(*logger_);
        ASSERT_NE(direct, nullptr);
        EXPECT_EQ(direct->takesShared(), takesShared);

        client->sendTo(
            "1_KLV1", "KSLForwarder",
            std::make_unique<RouterMessage>("1_KLV1", "ksl://0/*/HandheldServer", start.clone()));
        const auto envelope = nextMessage(*logger_);
        auto* const router = dynamic_cast<RouterMessage*>(envelope.get());
        ASSERT_NE(router, nullptr);
        logger_->sendToLogger("1_KLV1", kOther, "HandheldServer", router->getMessage()->clone());
        const auto forwarded = nextMessage(*remote);
        ASSERT_NE(forwarded, nullptr);
        EXPECT_EQ(forwarded->takesShared(), takesShared);
    }
}

}  // namespace
