// Loggers that misbehave on purpose.
#include <gmock/gmock.h>

#include <csignal>

#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/router_message.h"
#include "tests/desk/network/desk_network.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;

class ScenarioTest : public DeskNetworkTest {
  protected:
    // Asks request 53 and then request 23, and gives the ids and statuses of all answers up to the
    // one to 23: what is not there then did not come, or comes late.
    static std::vector<std::string> answersTo53(KRPBusClient& client) {
        ask(client, SimpleMessageRequest<53>());
        ask(client, SimpleMessageRequest<23>());
        std::vector<std::string> answers;
        for (;;) {
            const FromLogger answer = nextAnswer(client);
            const auto* const response = answer.as<KRPMessageResponse>();
            if (response == nullptr || response->getKrpMsgID() == 23) {
                return answers;
            }
            answers.push_back(std::to_string(response->getKrpMsgID()) + " " +
                              std::to_string(response->getStatus()));
        }
    }
};

TEST_F(ScenarioTest, AnswersLate) {
    const Process a = startWithScenario(kMacA, R"({"requests": {"53": {"delay": "400ms"}}})");
    const auto onA = client(kMacA);
    const auto asked = Clock::now();
    EXPECT_THAT(answersTo53(*onA), ElementsAre()) << "others are not held up";
    const FromLogger late = nextAnswer(*onA);
    EXPECT_NE((late.as<StringMessageResponse<53, 1>>()), nullptr);
    EXPECT_GE(Clock::now() - asked, 400ms);
}

TEST_F(ScenarioTest, AnswersWithAStatusAndAnErrorCode) {
    const Process a = startWithScenario(
        kMacA,
        R"({"requests": {"53": {"status": 3, "error_code": 42, "description": "no clock"}}})");
    const auto onA = client(kMacA);
    ask(*onA, SimpleMessageRequest<53>());
    const FromLogger answer = nextAnswer(*onA);
    const auto* const failure = answer.as<StringMessageResponse<53, 1>>();
    ASSERT_NE(failure, nullptr);
    EXPECT_EQ(failure->getStatus(), 3);
    EXPECT_EQ(failure->getErrorCode(), static_cast<errorCode_t>(42));
    EXPECT_EQ(failure->getErrorDescription(), "no clock");
}

TEST_F(ScenarioTest, IsBusyTheGivenNumberOfTimes) {
    const Process a = startWithScenario(kMacA, R"({"requests": {"53": {"busy": 2}}})");
    const auto onA = client(kMacA);
    for (const bool busy : {true, true, false, false}) {
        ask(*onA, SimpleMessageRequest<53>());
        const FromLogger answer = nextAnswer(*onA);
        ASSERT_NE((answer.as<StringMessageResponse<53, 1>>()), nullptr);
        EXPECT_EQ(answer.as<KRPMessageResponse>()->isBusy(), busy);
    }
}

TEST_F(ScenarioTest, GivesNoAnswer) {
    const Process a = startWithScenario(kMacA, R"({"requests": {"53": {"answers": 0}}})");
    const auto onA = client(kMacA);
    EXPECT_THAT(answersTo53(*onA), ElementsAre());
    EXPECT_TRUE(a->waitForOutput("request 53 for HandheldServer from tester"));
}

TEST_F(ScenarioTest, AnswersTwice) {
    const Process a = startWithScenario(kMacA, R"({"requests": {"53": {"answers": 2}}})");
    const auto onA = client(kMacA);
    EXPECT_THAT(answersTo53(*onA), ElementsAre("53 0", "53 0"));
}

TEST_F(ScenarioTest, SendsBytesThatAreNoMessage) {
    const Process a = startWithScenario(kMacA, R"({"requests": {"53": {"malformed": true}}})");
    const auto onA = client(kMacA);
    testing::internal::CaptureStdout();
    EXPECT_THAT(answersTo53(*onA), ElementsAre());
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr("that are no message"));
}

TEST_F(ScenarioTest, SendsAnEnvelopeOfBytesThatAreNoMessageToAnotherLogger) {
    const Process a = startLogger(kMacA);
    const Process b = startWithScenario(kMacB, R"({"requests": {"53": {"malformed": true}}})");
    const auto onA = client(kMacA);
    ASSERT_TRUE(waitForNeighbours(*onA, {kMacB}));
    const std::string onB = KSLUtil::createKslRouterMsgAddress(0, kMacB, "HandheldServer");
    testing::internal::CaptureStdout();
    forward(*onA, SimpleMessageRequest<53>(), onB);
    forward(*onA, SimpleMessageRequest<23>(), onB);
    const FromLogger answer = nextAnswer(*onA);
    EXPECT_NE((answer.as<Simple1MessageResponse<23, unsigned char>>()), nullptr);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr("that are no message"));
}

TEST_F(ScenarioTest, TreatsAllOtherRequestsAsTheStarSays) {
    const Process a = startWithScenario(kMacA, R"({"requests": {"*": {"status": 3}, "53": {}}})");
    const auto onA = client(kMacA);
    EXPECT_THAT(answersTo53(*onA), ElementsAre("53 0"));
    ask(*onA, SimpleMessageRequest<82>());
    const FromLogger answer = nextAnswer(*onA);
    EXPECT_EQ(answer.as<KRPMessageResponse>()->getStatus(), 3);
}

TEST_F(ScenarioTest, LeavesTheNetworkAfterATime) {
    const Process a = startLogger(kMacA, {"--neighbours-timeout", "10min"});
    const auto onA = client(kMacA);
    const Process b = startWithScenario(kMacB, R"({"leave_after": "300ms"})");
    EXPECT_TRUE(waitForNeighbours(*onA, {kMacB}));
    EXPECT_TRUE(waitForNeighbours(*onA, {}));
    EXPECT_EQ(b->waitForExit(), 0);
}

TEST_F(ScenarioTest, DiesAfterATime) {
    const Process a = startLogger(kMacA);
    const auto onA = client(kMacA);
    const Process b = startWithScenario(kMacB, R"({"die_after": "300ms"})");
    EXPECT_EQ(b->waitForExit(), -SIGKILL);
    EXPECT_TRUE(waitForNeighbours(*onA, {}));
}

TEST_F(ScenarioTest, LeavesInsteadOfAnswering) {
    const Process a = startLogger(kMacA, {"--neighbours-timeout", "10min"});
    const Process b = startWithScenario(kMacB, R"({"requests": {"53": {"leave": true}}})");
    const auto onA = client(kMacA);
    ASSERT_TRUE(waitForNeighbours(*onA, {kMacB}));
    forward(*onA, SimpleMessageRequest<53>(),
            KSLUtil::createKslBroadcastRouterMsgAddress("HandheldServer"));
    EXPECT_EQ(b->waitForExit(), 0);
    EXPECT_TRUE(waitForNeighbours(*onA, {}));
}

TEST_F(ScenarioTest, IsRefusedWhenItIsNotUnderstood) {
    const std::string file = directory_.write("odd.json", R"({"requests": {"53": {"busy": "2"}}})");
    DeskLoggerProcess a(server_.address(), {"--scenario", file});
    EXPECT_EQ(a.waitForExit(), 2);
    EXPECT_EQ(a.output(), "desklogger: --scenario: " + file +
                              ": requests.53.busy: must be a whole number from 0 to 1000000\n"
                              "Try: desklogger --help\n");
}

}  // namespace
