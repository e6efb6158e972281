// The way from logger to logger.
#include <gmock/gmock.h>

#include <csignal>

#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/system_message.h"
#include "tests/desk/network/desk_network.h"

using testing::UnorderedElementsAre;

namespace {

class ForwardingTest : public DeskNetworkTest {
  protected:
    // Everybody's clients have been told of everybody, so that nothing more comes unasked.
    ForwardingTest()
        : a_(startLogger(kMacA, {"--name", "A"})),
          b_(startLogger(kMacB, {"--name", "B"})),
          c_(startLogger(kMacC, {"--name", "C"})) {
        waitUntilTold(*a_, kMacB, kMacC);
        waitUntilTold(*b_, kMacA, kMacC);
        waitUntilTold(*c_, kMacA, kMacB);
        tester_ = client(kMacA);
    }

    static void waitUntilTold(const DeskLoggerProcess& logger, const std::string& first,
                              const std::string& second) {
        EXPECT_TRUE(logger.waitForOutput("neighbours: " + first + ", " + second + "\n"))
            << logger.output();
    }

    // The next answer to request 82 as "<MAC> <logger name>".
    std::string nextName() {
        const FromLogger answer = nextAnswer(*tester_);
        const auto* const names = answer.as<String2MessageResponse<82>>();
        return names != nullptr ? answer.mac + " " + names->second : "(no answer)";
    }

    Process a_, b_, c_;
    std::unique_ptr<KRPBusClient> tester_;
};

TEST_F(ForwardingTest, ReachesTheLoggerThatTheAddressNames) {
    forward(*tester_, SimpleMessageRequest<82>(),
            KSLUtil::createKslRouterMsgAddress(0, kMacC, "HandheldServer"));
    EXPECT_EQ(nextName(), std::string(kMacC) + " C");
}

TEST_F(ForwardingTest, BringsTheAnswerBackInAnEnvelopeThatNamesTheLogger) {
    forward(*tester_, SimpleMessageRequest<53>(),
            KSLUtil::createKslRouterMsgAddress(0, kMacB, "HandheldServer"));
    const auto message = nextMessage(*tester_);
    const auto* const router = dynamic_cast<const RouterMessage*>(message.get());
    ASSERT_NE(router, nullptr);
    EXPECT_EQ(router->getSourceAddress(), "ksl://0/02:00:00:00:00:0B/HandheldServer");
    EXPECT_EQ(router->getDestinationAddress(), "tester");
    EXPECT_NE((dynamic_cast<const StringMessageResponse<53, 1>*>(router->getMessage())), nullptr);
}

TEST_F(ForwardingTest, ReachesEveryOtherLoggerOnceAndNeverTheOwnOne) {
    const std::string all = KSLUtil::createKslBroadcastRouterMsgAddress("HandheldServer");
    forward(*tester_, SimpleMessageRequest<82>(), all);
    EXPECT_THAT((std::vector{nextName(), nextName()}),
                UnorderedElementsAre(std::string(kMacB) + " B", std::string(kMacC) + " C"));

    // Whatever else the first round has brought would come before the answers to the second.
    forward(*tester_, SimpleMessageRequest<23>(), all);
    for (int i = 0; i < 2; ++i) {
        const FromLogger answer = nextAnswer(*tester_);
        ASSERT_NE((answer.as<Simple1MessageResponse<23, unsigned char>>()), nullptr);
    }
    EXPECT_EQ(a_->countLines("request 82 for HandheldServer"), 0);
    EXPECT_EQ(b_->countLines("request 82 for HandheldServer"), 1);
    EXPECT_EQ(c_->countLines("request 82 for HandheldServer"), 1);
}

TEST_F(ForwardingTest, BringsBackErrorsToo) {
    forward(*tester_, SimpleMessageRequest<53>(),
            KSLUtil::createKslRouterMsgAddress(0, kMacB, "EventHandler"));
    const FromLogger answer = nextAnswer(*tester_);
    ASSERT_NE((answer.as<StringMessageResponse<53, 1>>()), nullptr);
    EXPECT_EQ(answer.mac, kMacB);
    EXPECT_EQ(answer.as<KRPMessageResponse>()->getErrorCode(), errorCode_t::UnknownRequest);
}

TEST_F(ForwardingTest, ReachesTheOwnLoggerWhenItsAddressSaysSo) {
    forward(*tester_, SimpleMessageRequest<82>(),
            KSLUtil::createKslRouterMsgAddress(0, "02:00:00:00:00:0a", "HandheldServer"));
    const auto message = nextMessage(*tester_);
    const auto* const names = dynamic_cast<const String2MessageResponse<82>*>(message.get());
    ASSERT_NE(names, nullptr) << "an answer of the own logger comes without an envelope";
    EXPECT_EQ(names->second, "A");
}

TEST_F(ForwardingTest, DropsWhatNoLoggerHasWithOneLine) {
    forward(*tester_, SimpleMessageRequest<82>(),
            KSLUtil::createKslRouterMsgAddress(0, "02:00:00:00:00:0D", "HandheldServer"));
    forward(*tester_, SimpleMessageRequest<82>(),
            KSLUtil::createKslRouterMsgAddress(0, "", "HandheldServer"));
    // Nobody answers either, so the answer to what is asked next comes first.
    forward(*tester_, SimpleMessageRequest<23>(),
            KSLUtil::createKslRouterMsgAddress(0, kMacB, "HandheldServer"));
    const FromLogger answer = nextAnswer(*tester_);
    EXPECT_NE((answer.as<Simple1MessageResponse<23, unsigned char>>()), nullptr);
    EXPECT_EQ(a_->countLines("[WARNING] KLV::forward() dropped, since no logger has this address: "
                             "RouterMessage"),
              2);
}

TEST_F(ForwardingTest, DropsWhatCannotBeForwarded) {
    forward(*tester_, SimpleMessageRequest<82>(), "HandheldServer");
    EXPECT_TRUE(a_->waitForOutput("dropped, since the destination is no forwarding address: "));
    tester_->sendTo("tester", "KSLForwarder",
                    std::make_unique<RouterMessage>(
                        "tester", KSLUtil::createKslBroadcastRouterMsgAddress("X"), nullptr));
    EXPECT_TRUE(a_->waitForOutput("dropped, since there is no message inside: "));
    // An envelope inside an envelope would make another logger's forwarder forward.
    const RouterMessage inner("tester",
                              KSLUtil::createKslRouterMsgAddress(0, kMacC, "HandheldServer"),
                              SimpleMessageRequest<82>().clone());
    forward(*tester_, inner, KSLUtil::createKslRouterMsgAddress(0, kMacB, "KSLForwarder"));
    EXPECT_TRUE(b_->waitForOutput("dropped, since the sender is no participant of this logger: "));
}

TEST_F(ForwardingTest, CarriesWhatIsNoRequestJustTheSame) {
    const auto listener = client(kMacB, "listener");
    forward(*tester_, SystemMessage(77, "hello"),
            KSLUtil::createKslRouterMsgAddress(0, kMacB, "listener"));
    const auto message = nextMessage(*listener);
    const auto* const system = dynamic_cast<const SystemMessage*>(message.get());
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->getText(), "hello");
    EXPECT_EQ(system->getSource(), "ksl://0/02:00:00:00:00:0A/tester");
}

// Only with what the asker says beside the bytes does B send its values once for all.
TEST_F(ForwardingTest, CarriesThatTheAskerListensWhereLiveDataIsSentOnce) {
    const auto listener = client(kMacA, "listener");
    listener->listenToLive(krpbus::LiveData::Signals);
    synchronise(*listener, *tester_);
    SystemMessage start(SystemMessage::SM_STATE, "77-LVStartSignals");
    start.setTakesShared(true);
    forward(*tester_, start, KSLUtil::createKslRouterMsgAddress(0, kMacB, "HandheldServer"));
    const auto message = nextMessage(*listener);
    const auto* const router = dynamic_cast<const RouterMessage*>(message.get());
    ASSERT_NE(router, nullptr);
    EXPECT_EQ(router->getSourceAddress(), "ksl://0/02:00:00:00:00:0B/HandheldServer");
    EXPECT_EQ(router->getDestinationAddress(), "listener");
    EXPECT_NE(dynamic_cast<const SignalMessage*>(router->getMessage()), nullptr);
    EXPECT_TRUE(nothingWaits(*tester_)) << "which has said that it listens";
}

TEST_F(ForwardingTest, NoLongerReachesALoggerThatHasLeft) {
    c_->signal(SIGTERM);
    EXPECT_EQ(c_->waitForExit(), 0);
    EXPECT_TRUE(waitForNeighbours(*tester_, {kMacB}));
    forward(*tester_, SimpleMessageRequest<82>(),
            KSLUtil::createKslBroadcastRouterMsgAddress("HandheldServer"));
    EXPECT_EQ(nextName(), std::string(kMacB) + " B");
}

}  // namespace
