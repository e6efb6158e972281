// Connections that break off where it hurts, and servers that refuse or stand still.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "krpbus/client/server_watch.h"
#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/log_capture.h"
#include "tests/krpbus/client/bus_test_client.h"
#include "tests/krpbus/client/scripted_bus.h"
#include "tests/krpbus/client/tls_read_fault.h"

namespace {

using namespace std::chrono_literals;

class KrpBusCut : public ScriptedBus {};
class KrpBusTlsCut : public ScriptedBus {};

const std::string kMac = "02:00:00:00:00:01";
const std::string kSubject = "krp." + kMac + ".to.me";

// A message as the server sends it to whoever has subscribed under the number.
std::string delivery(const std::string& subscription, const std::string& text) {
    ByteWriter writer;
    SystemMessage(SystemMessage::SM_STATE, text).encode(writer);
    const std::string payload(reinterpret_cast<const char*>(writer.bytes().data()), writer.size());
    return "MSG " + kSubject + " " + subscription + " krp." + kMac + ".to.sender " +
           std::to_string(payload.size()) + "\r\n" + payload + "\r\n";
}

// The same with a header.
std::string headedDelivery(const std::string& subscription, const std::string& text) {
    const std::string plain = delivery(subscription, text);
    const std::size_t line = plain.find("\r\n");
    const std::size_t size = plain.rfind(' ', line);
    const std::string head = "NATS/1.0\r\na: b\r\n\r\n";
    const std::string total =
        std::to_string(head.size() + std::stoul(plain.substr(size + 1, line - size - 1)));
    return "H" + plain.substr(0, size) + " " + std::to_string(head.size()) + " " + total + "\r\n" +
           head + plain.substr(line + 2);
}

std::string textOf(const std::unique_ptr<MessageBase>& message) {
    const auto* const notice = dynamic_cast<const SystemMessage*>(message.get());
    return notice != nullptr ? notice->getText() : "(no system message)";
}

// Every way to begin what a server can say without ending it; over TLS what is sent so is a whole
// record. (A payload is whole before the line end behind it.)
std::vector<std::string> beginnings(const std::string& subscription) {
    std::vector<std::string> all;
    const auto cutAt = [&](const std::string& whole, const std::vector<std::size_t>& places) {
        for (const std::size_t place : places) {
            all.push_back(whole.substr(0, place));
        }
    };
    const std::string message = delivery(subscription, std::string(1000, 'x'));
    const std::size_t line = message.find("\r\n");
    cutAt(message, {1, 2, 3, 4, 5, 9, 31, line - 6, line - 2, line, line + 1, line + 2, line + 3,
                    line + 500, message.size() - 3, message.size() - 2});
    const std::string headed = headedDelivery(subscription, "headed");
    cutAt(headed, {1, 2, 8, headed.find("\r\n") + 5, headed.size() - 4});
    cutAt("PING\r\n", {1, 2, 3, 4, 5});
    cutAt("PONG\r\n", {2, 3, 4, 5});
    cutAt("+OK\r\n", {1, 2, 3, 4});
    cutAt("-ERR 'Stale Connection'\r\n", {1, 2, 3, 4, 5, 9, 23, 24});
    cutAt("INFO {\"server_id\":\"x\"}\r\n", {1, 2, 3, 4, 5, 9, 22, 23});
    return all;
}

TEST_P(KrpBusCut, BeginsAfreshWhereverTheConnectionBrokeOff) {
    const std::size_t cuts = beginnings("1").size();
    const auto server = serve([cuts](int number, ServedClient& client) {
        client.greet();
        const std::string subscription = client.subscription(kSubject);
        client.send(delivery(subscription, "whole " + std::to_string(number)));
        const auto index = static_cast<std::size_t>(number);
        if (index < cuts) {
            client.send(beginnings(subscription)[index]);
        } else {
            client.stayAlive();
        }
    });
    const LogCapture log;
    const auto client = connectTo(server);
    for (std::size_t number = 0; number <= cuts; ++number) {
        ASSERT_EQ(textOf(nextMessage(*client)), "whole " + std::to_string(number));
    }
    EXPECT_EQ(client->getConnectionCount(), cuts + 1);
    EXPECT_TRUE(client->isConnected());
    EXPECT_TRUE(nothingWaits(*client));
    EXPECT_THAT(log.logLines(),
                testing::Each(testing::HasSubstr("the bus server refuses: Timeout")))
        << "nothing that is no message was handed on";
}

TEST_P(KrpBusCut, TakesMessagesApartThatComeInTheSmallestPieces) {
    const auto server = serve([](int, ServedClient& client) {
        client.greet();
        const std::string subscription = client.subscription(kSubject);
        const std::string both = delivery(subscription, "plain") + "PING\r\n" +
                                 headedDelivery(subscription, "with a header");
        for (const char byte : both) {
            client.send(std::string(1, byte));  // over TLS a record
        }
        client.stayAlive();
    });
    const auto client = connectTo(server);
    EXPECT_EQ(textOf(nextMessage(*client)), "plain");
    EXPECT_EQ(textOf(nextMessage(*client)), "with a header");
    EXPECT_EQ(client->getConnectionCount(), 1U);
}

TEST_P(KrpBusCut, RenewsWhatIsRegisteredOnEachConnection) {
    const auto server = serve([](int number, ServedClient& client) {
        client.greet();
        if (number == 0) {
            client.waitFor("UNSUB ");  // the last that the test wants
            return;
        }
        std::string all;
        for (const char* subject : {".all", ".bus.Trigger", ".to.OnlineProcessor", ".to.me"}) {
            all = client.subscription("krp." + kMac + subject);
        }
        client.send(delivery(all, "renewed"));
        client.stayAlive();
    });
    const auto client = connectTo(server);
    client->registerBus("Trigger");
    client->registerBus("Gone");
    client->addParticipant("OnlineProcessor");
    client->unRegisterBus("Gone");
    EXPECT_EQ(textOf(nextMessage(*client)), "renewed");
}

TEST_P(KrpBusCut, ComesBackToAServerThatHasRefusedTheLoginForAWhile) {
    const auto server = serve([](int number, ServedClient& client) {
        if (number >= 1 && number <= 6) {
            client.refuse();
            return;
        }
        client.greet();
        const std::string subscription = client.subscription(kSubject);
        if (number > 6) {
            client.send(delivery(subscription, "let in"));
            client.stayAlive();
        }
    });
    const LogCapture log;
    const auto client = connectTo(server);
    EXPECT_EQ(textOf(nextMessage(*client)), "let in");
    EXPECT_EQ(client->getConnectionCount(), 2U);
    auto lines = log.logLines();
    // A login that took too long is another answer: the next refusal is news again.
    const auto late =
        std::erase(lines, "[ERROR] KLV::BusConnection() the bus server refuses: Timeout");
    EXPECT_THAT(lines, testing::Each("[ERROR] KLV::BusConnection() the bus server refuses: "
                                     "Authentication Violation"));
    EXPECT_THAT(lines.size(), testing::AllOf(testing::Ge(1U), testing::Le(1 + late)))
        << "once, however often it refuses";
}

TEST_P(KrpBusCut, ComesBackToAServerThatSaysNothingSensibleForAWhile) {
    const auto server = serve([](int number, ServedClient& client) {
        static const std::array<std::string, 4> kNonsense{"", "HTTP/1.1 400 Bad Request\r\n\r\n",
                                                          "INFO {\"server_id\":\"x\"", "\r\n"};
        if (number >= 1 && number <= 4) {
            client.send(kNonsense.at(static_cast<std::size_t>(number) - 1));
            return;
        }
        client.greet();
        const std::string subscription = client.subscription(kSubject);
        if (number > 4) {
            client.send(delivery(subscription, "sensible"));
            client.stayAlive();
        } else {
            client.send("nonsense\r\n");
        }
    });
    const auto client = connectTo(server);
    EXPECT_EQ(textOf(nextMessage(*client)), "sensible");
    EXPECT_EQ(client->getConnectionCount(), 2U);
}

TEST_P(KrpBusCut, ProbesASilentServerAndGivesItUpWhenItStaysSilent) {
    std::atomic<int> probes{0};
    const auto server = serve([&](int number, ServedClient& client) {
        client.greet();
        const std::string subscription = client.subscription(kSubject);
        const std::string probe = "PUB " + kSubject + " 0\r\n\r\n";
        if (number > 0) {
            // Silent at first: a new connection has all of its time.
            if (client.waitFor(probe)) {
                client.send(delivery(subscription, "another connection"));
                client.stayAlive();
            }
            return;
        }
        while (client.waitFor(probe)) {
            ++probes;
        }
    });
    const LogCapture log;
    const auto begin = std::chrono::steady_clock::now();
    const auto client = connectTo(server, 200ms);
    EXPECT_EQ(textOf(nextMessage(*client)), "another connection");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 600ms);
    EXPECT_EQ(probes, 2);
    EXPECT_THAT(log.logLines(), testing::Contains("[ERROR] KLV::BusConnection() the bus server "
                                                  "does not answer, connecting again"));
    EXPECT_EQ(KRPBusOptions().probeInterval, 5s) << "given up after 15 seconds";
}

TEST_P(KrpBusCut, StaysWithAServerThatAnswersItsProbes) {
    const auto server = serve([&](int number, ServedClient& client) {
        client.greet();
        const std::string subscription = client.subscription(kSubject);
        for (int i = 0; i < 4 && client.waitFor("PUB " + kSubject + " 0\r\n\r\n"); ++i) {
            client.send("MSG " + kSubject + " " + subscription + " 0\r\n\r\n");
        }
        client.send(delivery(subscription, "still connection " + std::to_string(number)));
        client.stayAlive();
    });
    const auto client = connectTo(server, 400ms);
    EXPECT_EQ(textOf(nextMessage(*client)), "still connection 0");
    EXPECT_EQ(client->getConnectionCount(), 1U);
}

TEST_P(KrpBusCut, HandsOutWhatCameBeforeTheCut) {
    const auto server = serve([](int number, ServedClient& client) {
        client.greet();
        const std::string subscription = client.subscription(kSubject);
        if (number == 0) {
            std::string burst;
            for (int i = 0; i < 20'000; ++i) {
                burst += delivery(subscription, std::to_string(i));
            }
            client.send(burst + "MSG krp");
        } else {
            client.stayAlive();
        }
    });
    // No probe meanwhile: a server that closes without having read it takes back what it sent.
    const auto client = connectTo(server, 10min);
    ASSERT_TRUE(eventually([&] { return client->getConnectionCount() == 2; }, 60s));
    for (int i = 0; i < 20'000; ++i) {
        ASSERT_EQ(textOf(nextMessage(*client)), std::to_string(i));
    }
}

INSTANTIATE_TEST_SUITE_P(PlainAndTls, KrpBusCut, testing::Bool(), plainOrTls);

TEST_P(KrpBusTlsCut, NoticesTheEndOfAConnectionThatTheLibraryOverlooks) {
    const auto server = serve([](int number, ServedClient& client) {
        client.greet();
        const std::string subscription = client.subscription(kSubject);
        client.send(delivery(subscription, "connection " + std::to_string(number)));
        if (number > 0) {
            client.stayAlive();
        }
    });
    const TlsReadFault fault;
    const auto client = connectTo(server);
    EXPECT_EQ(textOf(nextMessage(*client)), "connection 0");
    EXPECT_EQ(textOf(nextMessage(*client)), "connection 1");
}

INSTANTIATE_TEST_SUITE_P(Tls, KrpBusTlsCut, testing::Values(true), plainOrTls);

TEST(ServerWatch, AsksBeforeItJudges) {
    using Action = krpbus::ServerWatch::Action;
    const krpbus::ServerWatch::Clock::time_point begin{};
    krpbus::ServerWatch watch(5s, 2);
    watch.heard(begin);
    EXPECT_EQ(watch.act(begin + 4s), Action::Wait);
    EXPECT_EQ(watch.act(begin + 5s), Action::Probe);
    EXPECT_EQ(watch.act(begin + 9s), Action::Wait);
    EXPECT_EQ(watch.act(begin + 10s), Action::Probe);
    watch.heard(begin + 11s);
    EXPECT_EQ(watch.act(begin + 15s), Action::Wait);
    // The process has been stopped for a minute.
    EXPECT_EQ(watch.act(begin + 71s), Action::Probe);
    EXPECT_EQ(watch.act(begin + 76s), Action::Probe);
    EXPECT_EQ(watch.act(begin + 80s), Action::Wait);
    EXPECT_EQ(watch.act(begin + 81s), Action::GiveUp);
}

}  // namespace
