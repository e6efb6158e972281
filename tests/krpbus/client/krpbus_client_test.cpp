// Who receives what, and from whom it comes.
#include "krpbus/client/krpbus_client.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "base/kr_exception.h"
#include "krpbus/messages/krp_get_audio_list.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/log_capture.h"
#include "tests/krpbus/client/bus_certificate.h"
#include "tests/krpbus/client/bus_test_client.h"

namespace {

using namespace std::chrono_literals;

const std::string kLogger = "02:00:00:00:00:0A";
const std::string kOther = "02:00:00:00:00:0B";

std::string textOf(const std::unique_ptr<MessageBase>& message) {
    const auto* const notice = dynamic_cast<const SystemMessage*>(message.get());
    return notice != nullptr ? notice->text : "(no system message)";
}

std::unique_ptr<SystemMessage> notice(const std::string& text) {
    return std::make_unique<SystemMessage>(SystemMessage::SM_STATE, text);
}

TEST(KrpBusClient, DeliversARequestAndItsAnswer) {
    const NatsServer server;
    const auto browser = makeClient(server, "17_KLV4711");
    const auto logger = makeClient(server, "HandheldServer");
    synchronise(*browser, *logger);

    browser->sendTo("17_KLV4711", "HandheldServer", std::make_unique<SimpleMessageRequest<23>>());
    const auto request = nextMessage(*logger);
    ASSERT_NE(dynamic_cast<SimpleMessageRequest<23>*>(request.get()), nullptr);
    EXPECT_EQ(request->getSource(), "17_KLV4711");
    EXPECT_EQ(request->getDestination(), "HandheldServer");

    logger->sendTo("HandheldServer", request->getSource(),
                   std::make_unique<Simple1MessageResponse<23, unsigned char>>(2));
    const auto message = nextMessage(*browser);
    const auto* const answer =
        dynamic_cast<Simple1MessageResponse<23, unsigned char>*>(message.get());
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->value, 2);
    EXPECT_EQ(answer->getSource(), "HandheldServer");
}

TEST(KrpBusClient, KeepsLoggersApartThatShareAServer) {
    const NatsServer server;
    const auto here = makeClient(server, "HandheldServer", kLogger);
    const auto there = makeClient(server, "HandheldServer", kOther);
    const auto browser = makeClient(server, "browser", kLogger);
    synchronise(*here, *there);

    browser->sendTo("browser", "HandheldServer", notice("for the own logger"));
    EXPECT_EQ(textOf(nextMessage(*here)), "for the own logger");
    there->sendTo("HandheldServer", "HandheldServer", notice("for the other one"));
    EXPECT_EQ(textOf(nextMessage(*there)), "for the other one");
    EXPECT_TRUE(nothingWaits(*there));
}

TEST(KrpBusClient, ForwardsARequestAndWrapsTheAnswer) {
    const NatsServer server;
    const auto browser = makeClient(server, "browser", kLogger);
    const auto forwarder = makeClient(server, "KSLForwarder", kLogger);
    const auto remote = makeClient(server, "HandheldServer", kOther);
    synchronise(*browser, *forwarder);
    synchronise(*forwarder, *remote);

    const std::string address = "ksl://0/" + kOther + "/HandheldServer";
    browser->sendTo("browser", "KSLForwarder",
                    std::make_unique<RouterMessage>("browser", address,
                                                    std::make_unique<SimpleMessageRequest<82>>()));

    const auto envelope = nextMessage(*forwarder);
    auto* const router = dynamic_cast<RouterMessage*>(envelope.get());
    ASSERT_NE(router, nullptr);
    EXPECT_EQ(router->getDestinationAddress(), address);
    forwarder->sendToLogger(router->getSource(), kOther, "HandheldServer", router->takeMessage());

    const auto request = nextMessage(*remote);
    ASSERT_NE(dynamic_cast<SimpleMessageRequest<82>*>(request.get()), nullptr)
        << "a request arrives bare";
    EXPECT_EQ(request->getSource(), "ksl://0/" + kLogger + "/browser");
    remote->sendTo("HandheldServer", request->getSource(),
                   std::make_unique<String2MessageResponse<82>>("config", "Logger B"));

    const auto answer = nextMessage(*browser);
    const auto* const wrapped = dynamic_cast<const RouterMessage*>(answer.get());
    ASSERT_NE(wrapped, nullptr) << "an answer of another logger arrives wrapped";
    EXPECT_EQ(wrapped->getSourceAddress(), address);
    EXPECT_EQ(wrapped->getDestinationAddress(), "browser");
    const auto* const inner =
        dynamic_cast<const String2MessageResponse<82>*>(wrapped->getMessage());
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(inner->second, "Logger B");
}

TEST(KrpBusClient, TreatsAForwardingAddressOfTheOwnLoggerAsAPlainName) {
    const NatsServer server;
    const auto client = makeClient(server, "me", kLogger);
    client->sendTo("me", "ksl://0/" + kLogger + "/me", notice("to myself"));
    const auto message = nextMessage(*client);
    EXPECT_EQ(textOf(message), "to myself");
    EXPECT_EQ(message->getSource(), "me");
}

TEST(KrpBusClient, SendsTheMessageOfAForwarderToALoggerInAnyCase) {
    const NatsServer server;
    const auto forwarder = makeClient(server, "KSLForwarder", kLogger);
    const auto remote = makeClient(server, "OnlineProcessor", kOther);
    synchronise(*forwarder, *remote);
    forwarder->sendToLogger("browser", "02:00:00:00:00:0b", "OnlineProcessor", notice("hello"));
    EXPECT_EQ(textOf(nextMessage(*remote)), "hello");
}

TEST(KrpBusClient, SendsNothingToALoggerWithoutAnAddress) {
    const NatsServer server;
    const auto forwarder = makeClient(server, "KSLForwarder", kLogger);
    const auto same = makeClient(server, "HandheldServer", kLogger);
    synchronise(*forwarder, *same);
    forwarder->sendToLogger("browser", "", "HandheldServer", notice("lost"));
    synchronise(*forwarder, *same);
    EXPECT_TRUE(nothingWaits(*same));
}

TEST(KrpBusClient, RefusesToSendToAllOthersByItself) {
    const NatsServer server;
    const auto client = makeClient(server, "me", kLogger);
    const LogCapture log;
    client->sendTo("me", "ksl://0/*/HandheldServer", notice("hello"));
    EXPECT_EQ(log.logLines(),
              std::vector<std::string>{"[ERROR] KLV::sendTo() message to ksl://0/*/HandheldServer "
                                       "dropped: only the forwarder reaches all other loggers"});
}

TEST(KrpBusClient, ReceivesABusWhileItIsRegistered) {
    const NatsServer server;
    const auto events = makeClient(server, "EventHandler");
    const auto browser = makeClient(server, "browser");
    browser->registerBus("Trigger");
    browser->registerBus("Trigger");
    synchronise(*events, *browser);

    events->sendToBus("EventHandler", "Trigger", notice("first"));
    const auto message = nextMessage(*browser);
    EXPECT_EQ(textOf(message), "first");
    EXPECT_EQ(message->getDestination(), "Trigger");

    browser->unRegisterBus("Trigger");
    browser->unRegisterBus("Trigger");
    synchronise(*browser, *browser);
    events->sendToBus("EventHandler", "Trigger", notice("second"));
    synchronise(*events, *browser);
    EXPECT_TRUE(nothingWaits(*browser)) << "registered twice, received once, and ended";
}

TEST(KrpBusClient, ReceivesANetworkBusOfAllLoggers) {
    const NatsServer server;
    const auto here = makeClient(server, "HandheldServer", kLogger);
    const auto there = makeClient(server, "HandheldServer", kOther);
    here->registerNetworkBus("KSLHeartbeat");
    synchronise(*here, *there);

    here->sendToBus("HandheldServer", "KSLHeartbeat", notice("own"));
    const auto own = nextMessage(*here);
    EXPECT_EQ(textOf(own), "own");
    EXPECT_EQ(own->getSource(), "HandheldServer");
    there->sendToBus("HandheldServer", "KSLHeartbeat", notice("other"));
    const auto other = nextMessage(*here);
    EXPECT_EQ(textOf(other), "other");
    EXPECT_EQ(other->getSource(), "ksl://0/" + kOther + "/HandheldServer");
}

TEST(KrpBusClient, TellsEveryClientOfTheOwnLogger) {
    const NatsServer server;
    const auto here = makeClient(server, "a", kLogger);
    const auto alsoHere = makeClient(server, "b", kLogger);
    const auto there = makeClient(server, "c", kOther);
    synchronise(*here, *alsoHere);
    synchronise(*here, *there);

    here->sendToAll("a", notice("1-config"));
    EXPECT_EQ(textOf(nextMessage(*alsoHere)), "1-config");
    const auto own = nextMessage(*here);
    EXPECT_EQ(textOf(own), "1-config");
    EXPECT_EQ(own->getDestination(), "");
    synchronise(*here, *there);
    EXPECT_TRUE(nothingWaits(*there));
}

TEST(KrpBusClient, ReceivesUnderFurtherNames) {
    const NatsServer server;
    const auto logger = makeClient(server, "HandheldServer");
    const auto browser = makeClient(server, "browser");
    logger->addParticipant("OnlineProcessor");
    synchronise(*logger, *browser);

    browser->sendTo("browser", "OnlineProcessor", notice("key"));
    const auto message = nextMessage(*logger);
    EXPECT_EQ(message->getDestination(), "OnlineProcessor");
    logger->sendTo("OnlineProcessor", message->getSource(), notice("seen"));
    EXPECT_EQ(nextMessage(*browser)->getSource(), "OnlineProcessor");
}

TEST(KrpBusClient, CarriesNamesThatASubjectCannotHold) {
    const NatsServer server;
    const std::string odd = "a b.c*d>e%f\r\n\t\xC3\xA4\x01";
    const auto client = makeClient(server, odd);
    const auto peer = makeClient(server, "a");
    client->registerBus(odd);
    synchronise(*client, *peer);

    peer->sendTo("a", odd, notice("to an odd name"));
    EXPECT_EQ(textOf(nextMessage(*client)), "to an odd name");
    client->sendTo(odd, "a", notice("from an odd name"));
    EXPECT_EQ(nextMessage(*peer)->getSource(), odd);
    peer->sendToBus("a", odd, notice("on an odd bus"));
    EXPECT_EQ(nextMessage(*client)->getDestination(), odd);
}

TEST(KrpBusClient, CarriesAnEmptyName) {
    const NatsServer server;
    const auto client = makeClient(server, "");
    client->sendTo("", "", notice("nobody"));
    EXPECT_EQ(textOf(nextMessage(*client)), "nobody");
}

TEST(KrpBusClient, KeepsTheOrderOfMessagesThatCameInDifferentWays) {
    const NatsServer server;
    const auto sender = makeClient(server, "sender");
    const auto receiver = makeClient(server, "receiver");
    receiver->registerBus("Trigger");
    synchronise(*sender, *receiver);

    constexpr int kMessages = 6000;
    for (int i = 0; i < kMessages; ++i) {
        auto message = notice(std::to_string(i));
        switch (i % 3) {
            case 0:
                sender->sendTo("sender", "receiver", std::move(message));
                break;
            case 1:
                sender->sendToBus("sender", "Trigger", std::move(message));
                break;
            default:
                sender->sendToAll("sender", std::move(message));
        }
    }
    for (int i = 0; i < kMessages; ++i) {
        ASSERT_EQ(textOf(nextMessage(*receiver)), std::to_string(i));
    }
}

TEST(KrpBusClient, CarriesAMessageOfManyMegabytes) {
    const NatsServer server;
    const auto client = makeClient(server, "me");
    const std::string large(20'000'000, 'x');
    client->sendTo("me", "me", notice(large));
    const auto message = nextMessage(*client);
    EXPECT_TRUE(textOf(message) == large);
}

TEST(KrpBusClient, ReportsAMessageThatIsLargerThanTheServerTakes) {
    const NatsServer server("max_payload: 1000\n");
    const auto client = makeClient(server, "me");
    const LogCapture log;
    client->sendTo("me", "me", notice(std::string(1000, 'x')));
    EXPECT_EQ(log.logLines(),
              std::vector<std::string>{"[ERROR] KLV::sendTo() message to me dropped: 1008 bytes "
                                       "are more than the bus server's 1000"});
    client->sendTo("me", "me", notice("small"));
    EXPECT_EQ(textOf(nextMessage(*client)), "small");
}

TEST(KrpBusClient, SendsNothingForANullMessage) {
    const NatsServer server;
    const auto client = makeClient(server, "me");
    client->sendTo("me", "me", nullptr);
    client->sendToBus("me", "me", nullptr);
    client->sendToAll("me", nullptr);
    client->sendToLogger("me", kLogger, "me", nullptr);
    client->sendTo("me", "me", notice("last"));
    EXPECT_EQ(textOf(nextMessage(*client)), "last");
}

TEST(KrpBusClient, WritesABurstAtItsEnd) {
    const NatsServer server;
    const auto receiver = makeClient(server, "receiver");
    const auto sender = makeClient(server, "sender");
    const auto other = makeClient(server, "other");
    synchronise(*receiver, *sender);
    const auto notice = [](const std::string& text) {
        return std::make_unique<SystemMessage>(SystemMessage::SM_STATE, text);
    };
    const auto next = [&] {
        const auto message = nextMessage(*receiver);
        const auto* const state = dynamic_cast<const SystemMessage*>(message.get());
        return state != nullptr ? state->text : "(no system message)";
    };
    // The sender's reader may happen to be awake and write what it finds: not each time.
    bool heldBack = false;
    for (int attempt = 0; !heldBack && attempt < 5; ++attempt) {
        {
            const KRPBusClient::Burst burst(*sender);
            sender->sendTo("sender", "receiver", notice("first"));
            sender->sendTo("sender", "receiver", notice("second"));
            other->sendTo("other", "receiver", notice("other"));
            const std::string begun = next();
            heldBack = begun == "other";
            if (!heldBack) {
                EXPECT_EQ(begun, "first");
                EXPECT_EQ(next(), "second");
                EXPECT_EQ(next(), "other");
            }
        }
        if (heldBack) {
            EXPECT_EQ(next(), "first");
            EXPECT_EQ(next(), "second");
        }
    }
    EXPECT_TRUE(heldBack);
}

TEST(KrpBusClient, SendsWhatIsOnItsWayBeforeItGoes) {
    const NatsServer server;
    const auto receiver = makeClient(server, "receiver");
    const auto witness = makeClient(server, "witness");
    synchronise(*receiver, *witness);
    constexpr int kMessages = 5000;
    {
        const auto sender = makeClient(server, "sender");
        for (int i = 0; i < kMessages; ++i) {
            sender->sendTo("sender", "receiver", notice(std::to_string(i)));
        }
    }
    for (int i = 0; i < kMessages; ++i) {
        ASSERT_EQ(textOf(nextMessage(*receiver)), std::to_string(i));
    }
}

TEST(KrpBusClient, TakesMessagesFromManyThreadsWhileItReads) {
    const NatsServer server;
    const auto client = makeClient(server, "me");
    constexpr int kThreads = 4;
    constexpr int kMessages = 2000;
    std::vector<std::thread> senders;
    for (int thread = 0; thread < kThreads; ++thread) {
        senders.emplace_back([&client, thread] {
            for (int i = 0; i < kMessages; ++i) {
                client->sendTo("me", "me",
                               std::make_unique<SystemMessage>(static_cast<unsigned char>(thread),
                                                               std::to_string(i)));
            }
        });
    }
    std::vector<int> next(kThreads, 0);
    for (int i = 0; i < kThreads * kMessages; ++i) {
        const auto message = nextMessage(*client);
        const auto* const numbered = dynamic_cast<const SystemMessage*>(message.get());
        ASSERT_NE(numbered, nullptr);
        ASSERT_EQ(numbered->text, std::to_string(next.at(numbered->type)++));
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
}

TEST(KrpBusClient, TellsWhichAddressesNobodyHas) {
    const NatsServer server;
    const auto client = makeClient(server, "HandheldServer", kLogger);
    const auto present = makeClient(server, "17_KLV1", kLogger);
    synchronise(*client, *present);

    const std::string far = "ksl://0/" + kOther + "/18_KLV2";
    client->probe("17_KLV1");
    client->probe("gone.away");
    client->probe(far);
    std::vector<std::string> vanished;
    ASSERT_TRUE(eventually([&] {
        for (std::string& address : client->takeVanished()) {
            vanished.push_back(std::move(address));
        }
        return vanished.size() == 2;
    }));
    EXPECT_EQ(vanished, (std::vector<std::string>{"gone.away", far}));

    synchronise(*client, *present);
    EXPECT_TRUE(nothingWaits(*present)) << "a probe is nothing to its receiver";
    EXPECT_TRUE(nothingWaits(*client));
    EXPECT_TRUE(client->takeVanished().empty());
}

TEST(KrpBusClient, WakesItsConsumerWhenAnAddressHasVanished) {
    const NatsServer server;
    const auto client = makeClient(server, "HandheldServer", kLogger);
    EXPECT_FALSE(readable(*client, 0ms));
    client->probe("nobody");
    EXPECT_TRUE(readable(*client, kPatience));
    EXPECT_EQ(client->takeVanished(), std::vector<std::string>{"nobody"});
    EXPECT_FALSE(readable(*client, 0ms));
}

TEST(KrpBusClient, IsSilentAboutAMessageForSomebodyWhoIsNotThere) {
    const NatsServer server;
    const auto client = makeClient(server, "me");
    const LogCapture log;
    client->sendTo("me", "KRPBusServer", notice("anybody?"));
    synchronise(*client, *client);
    EXPECT_TRUE(nothingWaits(*client));
    EXPECT_TRUE(log.logLines().empty());
}

TEST(KrpBusClient, KnowsItsNameAndItsLogger) {
    const NatsServer server;
    const auto client = makeClient(server, "me", "02:aa:00:00:00:0b");
    EXPECT_EQ(client->getName(), "me");
    EXPECT_EQ(client->getMac(), "02:AA:00:00:00:0B");
}

TEST(KrpBusClient, BelongsToTheLowestAddressByDefault) {
    setenv("KRPBUS_MAC", "02:cc:00:00:00:01", 1);
    const NatsServer server;
    KRPBusClient client("me", "127.0.0.1", server.port());
    EXPECT_EQ(client.getMac(), "02:CC:00:00:00:01");
}

TEST(KrpBusClient, FindsTheServerThatTheEnvironmentNames) {
    const NatsServer server;
    setenv("KRPBUS_SERVER", server.address().c_str(), 1);
    const KRPBusClient client("me", "", 1);
    EXPECT_TRUE(client.isConnected());
}

TEST(KrpBusClient, LogsInWithTheUserOfAUrl) {
    const NatsServer server("authorization { user: live, password: view }\n");
    const std::string address = server.address();
    setenv("KRPBUS_SERVER", ("nats://live:view@" + address).c_str(), 1);
    const KRPBusClient known("me", "", 1);
    EXPECT_TRUE(known.isConnected());
    setenv("KRPBUS_SERVER", ("nats://live:wrong@" + address).c_str(), 1);
    const KRPBusClient unknown("me", "", 1);
    EXPECT_FALSE(unknown.isConnected());
}

class KrpBusTls : public testing::Test {
  protected:
    const Certificate certificate_;
    const NatsServer server_{"tls { cert_file: \"" + certificate_.certificate() +
                             "\", key_file: \"" + certificate_.key() + "\" }\n"};
};

TEST_F(KrpBusTls, CarriesMessagesBothWaysAtOnce) {
    setenv("SSL_CERT_FILE", certificate_.certificate().c_str(), 1);
    setenv("KRPBUS_SERVER", ("tls://" + server_.address()).c_str(), 1);
    KRPBusClient client("me", "", 1);
    ASSERT_TRUE(client.isConnected());
    constexpr int kMessages = 5000;
    std::thread sender([&client] {
        for (int i = 0; i < kMessages; ++i) {
            client.sendTo("me", "me", notice(std::to_string(i)));
        }
    });
    for (int i = 0; i < kMessages; ++i) {
        EXPECT_EQ(textOf(nextMessage(client)), std::to_string(i));
    }
    sender.join();
}

TEST_F(KrpBusTls, RefusesACertificateThatNobodyVouchesFor) {
    unsetenv("SSL_CERT_FILE");
    setenv("KRPBUS_SERVER", ("tls://" + server_.address()).c_str(), 1);
    const KRPBusClient client("me", "", 1);
    EXPECT_FALSE(client.isConnected());
}

}  // namespace
