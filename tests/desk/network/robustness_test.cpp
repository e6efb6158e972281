// What must not end a logger, what must, and how.
#include <csignal>
#include <random>

#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/system_message.h"
#include "tests/desk/network/desk_network.h"
#include "tests/desk/network/raw_bus.h"

namespace {

class RobustnessTest : public DeskNetworkTest {
  protected:
    static std::string bytesOf(const MessageBase& message) {
        ByteWriter writer;
        message.encode(writer);
        return {reinterpret_cast<const char*>(writer.bytes().data()), writer.bytes().size()};
    }
    static bool answers(KRPBusClient& client) {
        ask(client, SimpleMessageRequest<23>());
        return nextAnswer(client).message != nullptr;
    }
};

TEST_F(RobustnessTest, SurvivesMalformedBytesOnEverySubject) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    RawBus raw(server_.port());
    const std::string logger = std::string("krp.") + kMacA;
    const std::string whole = bytesOf(SimpleMessageRequest<53>());
    std::mt19937 random(4711);  // the same bytes in every run
    for (const std::string subject :
         {".to.HandheldServer", ".to.EventHandler", ".to.OnlineProcessor", ".to.KSLForwarder",
          ".to.KRPBusServer", ".bus.KSLHeartbeat", ".all"}) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            raw.publish(logger + subject, logger + ".to.tester", whole.substr(0, size));
        }
        for (int i = 0; i < 50; ++i) {
            std::string bytes = whole;
            bytes[random() % bytes.size()] = static_cast<char>(random());
            raw.publish(logger + subject, logger + ".to.tester", bytes);
        }
        raw.publish(logger + subject, logger + ".to.tester", std::string(100000, '\xFF'));
    }
    EXPECT_TRUE(a->waitForOutput("bytes that are no message"));
    EXPECT_TRUE(answers(*onA));
    a->signal(SIGTERM);
    EXPECT_EQ(a->waitForExit(), 0);
}

TEST_F(RobustnessTest, SurvivesRequestsThatNobodyCanBeAnsweredFor) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    RawBus raw(server_.port());
    const std::string subject = std::string("krp.") + kMacA + ".to.HandheldServer";
    raw.publish(subject, "", bytesOf(SimpleMessageRequest<53>()));
    EXPECT_TRUE(
        a->waitForOutput("[WARNING] KLV::handleRequest() dropped, since nobody could be "
                         "answered: request 53 for HandheldServer from \n"));
    raw.publish(subject, "somewhere.else", bytesOf(SimpleMessageRequest<53>()));
    raw.publish(subject, "krp.nobody.to.nobody", bytesOf(SimpleMessageRequest<53>()));
    EXPECT_TRUE(answers(*onA));
}

TEST_F(RobustnessTest, SurvivesMessagesForAParticipantThatExpectsOthers) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    for (const char* const participant : {"HandheldServer", "EventHandler", "OnlineProcessor",
                                          "KSLForwarder", "KRPBusServer", "KSLHeartbeat"}) {
        onA->sendTo("tester", participant, std::make_unique<SystemMessage>(33, "alive x"));
        onA->sendTo("tester", participant, std::make_unique<SystemMessage>(0, ""));
    }
    EXPECT_TRUE(answers(*onA));
}

TEST_F(RobustnessTest, EndsInGoodOrderOnBothSignals) {
    for (const int number : {SIGINT, SIGTERM}) {
        const Process a = startLogger(kMacA);
        a->signal(number);
        EXPECT_EQ(a->waitForExit(), 0);
    }
}

TEST_F(RobustnessTest, EndsWithAnErrorWhenThereIsNoBusServer) {
    server_.stop();
    DeskLoggerProcess a(server_.address(), {"--mac", kMacA, "--connect-timeout", "300ms"});
    EXPECT_EQ(a.waitForExit(), 3);
    EXPECT_EQ(a.output(),
              "[INFO] KLV::connectToBus() waiting for the bus server at " + server_.address() +
                  "\n"
                  "[ERROR] KLV::connectToBus() there is no bus server at " +
                  server_.address() + "; start one (nats-server), or name another with --bus\n");
}

TEST_F(RobustnessTest, WaitsForABusServerThatIsStartedAMomentLater) {
    server_.stop();
    const Process a = launchLogger(kMacA);
    EXPECT_TRUE(a->waitForOutput("waiting for the bus server"));
    server_.start();
    EXPECT_TRUE(a->waitForOutput("ready"));
}

TEST_F(RobustnessTest, CanBeEndedWhileItWaitsForTheBusServer) {
    server_.stop();
    const Process a = launchLogger(kMacA);
    EXPECT_TRUE(a->waitForOutput("waiting for the bus server"));
    a->signal(SIGTERM);
    EXPECT_EQ(a->waitForExit(), 0);
}

TEST_F(RobustnessTest, CanBeEndedWhileTheBusStandsStill) {
    const Process a = startLogger(kMacA);
    server_.pause();
    a->signal(SIGTERM);
    EXPECT_EQ(a->waitForExit(), 0);
    server_.resume();
}

TEST_F(RobustnessTest, AnswersAgainWhenTheBusServerIsBack) {
    const Process a = startLogger(kMacA);
    server_.stop();
    EXPECT_TRUE(a->waitForOutput("the bus server has gone"));
    server_.start();
    EXPECT_TRUE(a->waitForOutput("the bus server is back"));
    const auto onA = client(kMacA);
    EXPECT_TRUE(eventually([&] {
        ask(*onA, SimpleMessageRequest<23>());
        return nextAnswer(*onA, std::chrono::milliseconds(500)).message != nullptr;
    }));
}

TEST_F(RobustnessTest, FindsItsBusServerByItsOption) {
    DeskLoggerProcess a("127.0.0.1:1", {"--mac", kMacA, "--bus", server_.address()});
    EXPECT_TRUE(a.waitForOutput("desklogger 02:00:00:00:00:0A ready\n")) << a.output();
}

}  // namespace
