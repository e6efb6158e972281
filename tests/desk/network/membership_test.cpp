// Loggers come, go, die and find each other.
#include <gmock/gmock.h>

#include <csignal>
#include <thread>

#include "krpbus/messages/system_message.h"
#include "tests/desk/network/desk_network.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using namespace std::chrono_literals;

class MembershipTest : public DeskNetworkTest {
  protected:
    static std::string nextChange(KRPBusClient& client) {
        return nextNotice(client, SystemMessage::SM_KSL);
    }
    // Waits until the logger has told its clients of these neighbours.
    static bool waitUntilTold(const DeskLoggerProcess& logger, const std::string& neighbours) {
        return logger.waitForOutput("KLV::sendNetworkNotice() neighbours: " + neighbours + "\n");
    }
    static int changesToldBy(const DeskLoggerProcess& logger) {
        return logger.countLines("KLV::sendNetworkNotice()");
    }
};

TEST_F(MembershipTest, KnowsItsNeighboursAsSoonAsItIsReady) {
    const Process a = startLogger(kMacA);
    const Process b = launchLogger("02-00-00-00-00-0b");
    EXPECT_TRUE(b->waitForOutput("desklogger 02:00:00:00:00:0B ready\n"));
    const auto onB = client(kMacB);
    EXPECT_THAT(neighboursOf(*onB), ElementsAre(kMacA));
}

TEST_F(MembershipTest, TellsItsClientsThatALoggerHasCome) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    const Process b = startLogger(kMacB);
    EXPECT_EQ(nextChange(*onA), "neighbours: 02:00:00:00:00:0B");
    EXPECT_THAT(neighboursOf(*onA), ElementsAre(kMacB));
    const Process c = startLogger(kMacC);
    EXPECT_EQ(nextChange(*onA), "neighbours: 02:00:00:00:00:0B, 02:00:00:00:00:0C");
    EXPECT_THAT(neighboursOf(*onA), ElementsAre(kMacB, kMacC));
}

TEST_F(MembershipTest, TellsItsClientsThatALoggerHasLeft) {
    // A time-out so long that only a goodbye explains the change.
    const Process a = startLogger(kMacA, {"--neighbours-timeout", "10min"});
    const Process b = startLogger(kMacB);
    ASSERT_TRUE(waitUntilTold(*a, kMacB));
    const auto onA = client(kMacA);
    b->signal(SIGINT);
    EXPECT_EQ(b->waitForExit(), 0);
    EXPECT_EQ(nextChange(*onA), "neighbours: none");
    EXPECT_THAT(neighboursOf(*onA), IsEmpty());
}

TEST_F(MembershipTest, TellsItsClientsThatALoggerHasDied) {
    const Process a = startLogger(kMacA);
    const Process b = startLogger(kMacB);
    const Process c = startLogger(kMacC);
    ASSERT_TRUE(waitUntilTold(*a, std::string(kMacB) + ", " + kMacC));
    const auto onA = client(kMacA);
    b->signal(SIGKILL);
    EXPECT_EQ(nextChange(*onA), "neighbours: 02:00:00:00:00:0C");
    EXPECT_THAT(neighboursOf(*onA), ElementsAre(kMacC));
}

TEST_F(MembershipTest, TellsItsClientsOfALoggerThatWasThereForAMoment) {
    const Process a = startLogger(kMacA);
    const auto other = client(kMacC, "somebody");
    for (const char* const text : {"alive x", "leave x"}) {
        other->sendToBus("somebody", "KSLHeartbeat",
                         std::make_unique<SystemMessage>(SystemMessage::SM_KSL_HEARTBEAT, text));
    }
    EXPECT_TRUE(waitUntilTold(*a, "none"));
}

TEST_F(MembershipTest, SaysNothingWhenALoggerIsStartedAgainAtOnce) {
    const Process a = startLogger(kMacA, {"--neighbours-timeout", "10min"});
    Process b = startLogger(kMacB);
    ASSERT_TRUE(waitUntilTold(*a, kMacB));
    const auto onA = client(kMacA);
    const int changes = changesToldBy(*a);
    b->signal(SIGKILL);
    b->waitForExit();
    b = startLogger(kMacB);
    EXPECT_THAT(neighboursOf(*onA), ElementsAre(kMacB));
    EXPECT_EQ(changesToldBy(*a), changes);
}

TEST_F(MembershipTest, TakesAPauseOfTheBusForNoChange) {
    const std::vector<std::string> impatient{"--neighbours-timeout", "1s"};
    const Process a = startLogger(kMacA, impatient);
    const Process b = startLogger(kMacB, impatient);
    const Process c = startLogger(kMacC, impatient);
    ASSERT_TRUE(waitUntilTold(*a, std::string(kMacB) + ", " + kMacC));
    const auto onA = client(kMacA);
    const int changes = changesToldBy(*a);

    server_.pause();
    std::this_thread::sleep_for(2500ms);  // the pause itself: more than two time-outs
    server_.resume();

    EXPECT_THAT(neighboursOf(*onA), ElementsAre(kMacB, kMacC));
    // Whatever A thinks of the pause it says before it notices that C has died.
    c->signal(SIGKILL);
    EXPECT_EQ(nextChange(*onA), "neighbours: 02:00:00:00:00:0B");
    EXPECT_EQ(changesToldBy(*a), changes + 1);
}

TEST_F(MembershipTest, TakesARestartOfTheBusServerForNoChange) {
    const std::vector<std::string> impatient{"--neighbours-timeout", "1s"};
    const Process a = startLogger(kMacA, impatient);
    const Process b = startLogger(kMacB, impatient);
    ASSERT_TRUE(waitUntilTold(*a, kMacB));
    const int changes = changesToldBy(*a);

    server_.stop();
    EXPECT_TRUE(a->waitForOutput(
        "[ERROR] KLV::readBus() the bus server has gone; trying to reach it again\n"));
    EXPECT_TRUE(b->waitForOutput("the bus server has gone"));
    std::this_thread::sleep_for(1500ms);  // longer than the time-out
    server_.start();
    EXPECT_TRUE(a->waitForOutput("[INFO] KLV::readBus() the bus server is back\n"));
    EXPECT_TRUE(b->waitForOutput("the bus server is back"));

    const auto onA = client(kMacA);
    EXPECT_TRUE(waitForNeighbours(*onA, {kMacB}));
    EXPECT_EQ(changesToldBy(*a), changes);
    b->signal(SIGKILL);
    EXPECT_EQ(nextChange(*onA), "neighbours: none");
    EXPECT_EQ(changesToldBy(*a), changes + 1);
}

TEST_F(MembershipTest, SaysOneLineWhileTheBusServerIsAway) {
    const Process a = startLogger(kMacA);
    server_.stop();
    EXPECT_TRUE(a->waitForOutput("the bus server has gone"));
    std::this_thread::sleep_for(1s);  // ten heartbeats
    EXPECT_EQ(a->countLines("[ERROR]"), 1) << a->output();
    a->signal(SIGTERM);
    EXPECT_EQ(a->waitForExit(), 0) << "it ends as usual without a bus server";
}

TEST_F(MembershipTest, RefusesASecondLoggerWithTheSameMac) {
    const Process first = startLogger(kMacA);
    const Process second = launchLogger(kMacA);
    EXPECT_EQ(second->waitForExit(), 4);
    EXPECT_EQ(second->output(),
              "[ERROR] KLV::joinNetwork() another logger has the MAC address 02:00:00:00:00:0A "
              "already; give this one another with --mac\n");
    const auto onA = client(kMacA);
    EXPECT_THAT(neighboursOf(*onA), IsEmpty());
    EXPECT_EQ(first->countLines("[ERROR]"), 0);
}

TEST_F(MembershipTest, LetsOneOfTwoWithTheSameMacJoin) {
    const Process first = launchLogger(kMacA);
    const Process second = launchLogger(kMacA);
    ASSERT_TRUE(eventually([&] { return first->isRunning() != second->isRunning(); }));
    const Process& stays = first->isRunning() ? first : second;
    const Process& goes = first->isRunning() ? second : first;
    EXPECT_EQ(goes->waitForExit(), 4);
    EXPECT_TRUE(stays->waitForOutput("ready"));
    EXPECT_EQ(stays->countLines("[ERROR]"), 0);
    EXPECT_EQ(goes->countLines("[ERROR]"), 1);
}

TEST_F(MembershipTest, SaysOneLineWhenItFindsItsMacTakenLater) {
    const Process first = startLogger(kMacA);
    first->signal(SIGSTOP);
    const Process second = startLogger(kMacA);
    first->signal(SIGCONT);
    const std::string line =
        "[ERROR] KLV::takeHeartbeat() two loggers have the MAC address 02:00:00:00:00:0A: every "
        "request is answered twice; end one of them\n";
    EXPECT_TRUE(first->waitForOutput(line));
    EXPECT_TRUE(second->waitForOutput(line));
    const auto onA = client(kMacA);
    for (int i = 0; i < 20; ++i) {
        neighboursOf(*onA);  // time passes, heartbeats go on
    }
    EXPECT_EQ(first->countLines("[ERROR]"), 1);
    EXPECT_EQ(second->countLines("[ERROR]"), 1);
}

TEST_F(MembershipTest, TakesHeartbeatsOfOtherProgramsForLoggers) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    const auto other = client(kMacC, "somebody");
    const auto beat = [&other](const std::string& text) {
        other->sendToBus("somebody", "KSLHeartbeat",
                         std::make_unique<SystemMessage>(SystemMessage::SM_KSL_HEARTBEAT, text));
    };
    beat("");
    EXPECT_EQ(nextChange(*onA), "neighbours: 02:00:00:00:00:0C");
    beat("leave");
    EXPECT_EQ(nextChange(*onA), "neighbours: none");
}

TEST_F(MembershipTest, TakesNoNameThatIsNoMacForALogger) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    const auto odd = client("desk", "somebody");
    odd->sendToBus("somebody", "KSLHeartbeat",
                   std::make_unique<SystemMessage>(SystemMessage::SM_KSL_HEARTBEAT, "alive x"));
    const auto proper = client(kMacC, "somebody");
    proper->sendToBus("somebody", "KSLHeartbeat",
                      std::make_unique<SystemMessage>(SystemMessage::SM_KSL_HEARTBEAT, "alive x"));
    EXPECT_EQ(nextChange(*onA), "neighbours: 02:00:00:00:00:0C");
}

TEST_F(MembershipTest, GivesNewcomersThatComeTogetherOneAnswer) {
    constexpr int kNewcomers = 100;
    const Process a = startLogger(kMacA, {"--heartbeat", "1min", "--neighbours-timeout", "10min"});
    const auto onA = client(kMacA);
    const auto listener = client(kMacB, "listener");
    listener->registerNetworkBus("KSLHeartbeat");
    synchronise(*listener, *listener);
    const auto newcomers = client(kMacC, "newcomers");
    for (int i = 0; i < kNewcomers; ++i) {
        newcomers->sendToBus(
            "newcomers", "KSLHeartbeat",
            std::make_unique<SystemMessage>(SystemMessage::SM_KSL_HEARTBEAT, "join x"));
    }
    int answers = 0;
    // Until the logger says so; counts its answers.
    const auto waitUntil = [&](const std::string& word) {
        return waitFor(*listener, [&](const FromLogger& received) {
            const auto* const system = received.as<SystemMessage>();
            const std::string text = system == nullptr ? "" : system->getText();
            answers += text.starts_with("alive ") ? 1 : 0;
            return text.starts_with(word);
        });
    };
    EXPECT_TRUE(waitUntil("alive ").message);
    synchronise(*newcomers, *newcomers);
    neighboursOf(*onA);  // it has taken what all newcomers said
    a->signal(SIGINT);
    EXPECT_TRUE(waitUntil("leave ").message);
    EXPECT_GE(answers, 1);
    EXPECT_LT(answers, kNewcomers / 10);
}

}  // namespace
