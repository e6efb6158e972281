// What a logger tells its clients when it is told to.
#include <csignal>

#include "krpbus/messages/system_message.h"
#include "tests/desk/network/desk_network.h"

namespace {

class NoticeTest : public DeskNetworkTest {
  protected:
    static std::string nextState(KRPBusClient& client) {
        return nextNotice(client, SystemMessage::SM_STATE);
    }
};

TEST_F(NoticeTest, IsSentSomeTimeAfterTheLoggerIsReady) {
    const auto onA = client(kMacA);
    const Process a = startLogger(kMacA, {"--notify", "3-stop@300ms", "--notify", "1-config",
                                          "--notify", "8-loggerOff@50ms"});
    EXPECT_EQ(nextState(*onA), "1-config");
    EXPECT_EQ(nextState(*onA), "8-loggerOff");
    EXPECT_EQ(nextState(*onA), "3-stop");
}

TEST_F(NoticeTest, IsSentOnASignal) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    a->signal(SIGUSR1);
    EXPECT_EQ(nextState(*onA), "1-config");
    a->signal(SIGUSR2);
    EXPECT_EQ(nextState(*onA), "8-loggerOff");
    a->signal(SIGRTMIN);
    EXPECT_EQ(nextState(*onA), "3-stop");
}

TEST_F(NoticeTest, IsSentOnACommand) {
    const Process a = startLogger(kMacA, {"--commands"});
    const auto onA = client(kMacA);
    a->type("notify 8-loggerOff\nnotify 3-stop\n");
    EXPECT_EQ(nextState(*onA), "8-loggerOff");
    EXPECT_EQ(nextState(*onA), "3-stop");
}

TEST_F(NoticeTest, IsNotSentOnWhatIsNoCommand) {
    const Process a = startLogger(kMacA, {"--commands"});
    a->type("sing\nnotify quietly\n\n");
    EXPECT_TRUE(a->waitForOutput(
        "[ERROR] KLV::runCommand() \"sing\" is not a command like: notify 1-config, or: leave\n"));
    EXPECT_TRUE(a->waitForOutput("\"notify quietly\" is not a command"));
    EXPECT_EQ(a->countLines("sendStateNotice"), 0);
}

TEST_F(NoticeTest, LeavesAfterTheCommandToLeave) {
    const Process a = startLogger(kMacA, {"--commands"});
    a->type("leave\n");
    EXPECT_EQ(a->waitForExit(), 0);
}

TEST_F(NoticeTest, GoesOnWhenNobodyTypesAnyMore) {
    const Process a = startLogger(kMacA, {"--commands"});
    const auto onA = client(kMacA);
    a->endInput();
    a->signal(SIGUSR1);
    EXPECT_EQ(nextState(*onA), "1-config");
}

TEST_F(NoticeTest, IsSentWhenAnotherProcessTellsTheLogger) {
    const Process a = startLogger(kMacA);
    const Process b = startLogger(kMacB);
    const auto onA = client(kMacA);
    const auto onB = client(kMacB);
    DeskLoggerProcess teller(server_.address(), {"--mac", kMacA, "--tell", "1-config"});
    EXPECT_EQ(teller.waitForExit(), 0);
    EXPECT_EQ(teller.output(), "");
    EXPECT_EQ(nextState(*onA), "1-config");
    EXPECT_EQ(a->countLines("[INFO] KLV::sendStateNotice() 1-config"), 1);
    EXPECT_EQ(b->countLines("sendStateNotice"), 0);
    b->signal(SIGUSR2);
    EXPECT_EQ(nextState(*onB), "8-loggerOff") << "the notice of A was for A's clients only";
}

TEST_F(NoticeTest, CannotBeToldToALoggerThatIsNotThere) {
    DeskLoggerProcess teller(server_.address(), {"--mac", kMacA, "--tell", "1-config"});
    EXPECT_EQ(teller.waitForExit(), 5);
    EXPECT_EQ(teller.output(),
              "[ERROR] KLV::tell() no logger with the MAC address 02:00:00:00:00:0A is on this "
              "bus\n");
}

TEST_F(NoticeTest, CanBeAskedForByAnyClientOfTheLogger) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    onA->sendTo("tester", "KRPBusServer",
                std::make_unique<SystemMessage>(SystemMessage::SM_STATE, "no state at all"));
    onA->sendTo("tester", "KRPBusServer",
                std::make_unique<SystemMessage>(SystemMessage::SM_STATE, "5-other"));
    EXPECT_EQ(nextState(*onA), "5-other");
}

}  // namespace
