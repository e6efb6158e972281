// What a logger answers.
#include <gmock/gmock.h>
#include <sys/utsname.h>

#include <csignal>

#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/system_set_state_message.h"
#include "tests/desk/network/desk_network.h"

using testing::HasSubstr;

namespace {

using RequestTest = DeskNetworkTest;

TEST_F(RequestTest, GivesEachRequestItsAnswer) {
    const Process logger =
        startLogger(kMacA, {"--name", "Front", "--config-name", "Winter", "--timezone",
                            "Europe/Oslo", "--software-version", "4.2", "--component-name", "Box",
                            "--type", "Pocket", "--status", "7", "--time-offset", "-5000000000"});
    const auto tester = client(kMacA);

    ask(*tester, SimpleMessageRequest<23>());
    FromLogger answer = nextAnswer(*tester);
    const auto* const status = answer.as<Simple1MessageResponse<23, unsigned char>>();
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->getStatus(), KRPMessageResponse::KRPSTATUS_OK);
    EXPECT_EQ(status->value, 7);

    ask(*tester, SimpleMessageRequest<53>());
    answer = nextAnswer(*tester);
    const auto* const timeZone = answer.as<StringMessageResponse<53, 1>>();
    ASSERT_NE(timeZone, nullptr);
    EXPECT_EQ(timeZone->getText(), "Europe/Oslo");

    ask(*tester, SimpleMessageRequest<82>());
    answer = nextAnswer(*tester);
    const auto* const names = answer.as<String2MessageResponse<82>>();
    ASSERT_NE(names, nullptr);
    EXPECT_EQ(names->first, "Winter");
    EXPECT_EQ(names->second, "Front");

    ask(*tester, SimpleMessageRequest<88>());
    answer = nextAnswer(*tester);
    const auto* const neighbours = answer.as<StringVectorMessageResponse<88>>();
    ASSERT_NE(neighbours, nullptr);
    EXPECT_TRUE(neighbours->strings.empty());

    ask(*tester, SimpleMessageRequest<89>());
    answer = nextAnswer(*tester);
    const auto* const offset = answer.as<Simple1MessageResponse<89, long long>>();
    ASSERT_NE(offset, nullptr);
    EXPECT_EQ(offset->value, -5000000000);

    ask(*tester, SimpleMessageRequest<117>());
    answer = nextAnswer(*tester);
    const auto* const device = answer.as<KRPResponseGetDeviceComponents>();
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->deviceClass, 16);
    EXPECT_NE(device->subType, 21);
    EXPECT_NE(device->subType, 22);
    EXPECT_EQ(device->softwareVersion, "4.2");
    EXPECT_EQ(device->name, "Box");
}

TEST_F(RequestTest, DescribesThisMachineForReal) {
    utsname kernel{};
    ASSERT_EQ(uname(&kernel), 0);
    const Process logger = startLogger(kMacA, {"--source", "host"});
    const auto tester = client(kMacA);

    ask(*tester, SimpleMessageRequest<82>());
    FromLogger answer = nextAnswer(*tester);
    ASSERT_NE(answer.as<String2MessageResponse<82>>(), nullptr);
    EXPECT_EQ(answer.as<String2MessageResponse<82>>()->second, kernel.nodename);

    ask(*tester, SimpleMessageRequest<53>());
    answer = nextAnswer(*tester);
    ASSERT_NE((answer.as<StringMessageResponse<53, 1>>()), nullptr);
    EXPECT_EQ((answer.as<StringMessageResponse<53, 1>>()->getText()), "Europe/Berlin")
        << "the time zone of the environment that it runs in";

    ask(*tester, SimpleMessageRequest<117>());
    answer = nextAnswer(*tester);
    ASSERT_NE(answer.as<KRPResponseGetDeviceComponents>(), nullptr);
    EXPECT_EQ(answer.as<KRPResponseGetDeviceComponents>()->softwareVersion,
              std::string("Linux ") + kernel.release);
}

TEST_F(RequestTest, AnswersWhatItDoesNotKnowWithAnError) {
    const Process logger = startLogger(kMacA);
    const auto tester = client(kMacA);
    ask(*tester, SimpleMessageRequest<53>(), "OnlineProcessor");
    const FromLogger answer = nextAnswer(*tester);
    const auto* const failure = answer.as<StringMessageResponse<53, 1>>();
    ASSERT_NE(failure, nullptr);
    EXPECT_EQ(failure->getStatus(), KRPMessageResponse::KRPSTATUS_ERROR);
    EXPECT_EQ(failure->getErrorCode(), errorCode_t::UnknownRequest);
    EXPECT_EQ(failure->getErrorDescription(), "OnlineProcessor does not know request 53");
    EXPECT_TRUE(
        logger->waitForOutput("[WARNING] KLV::findAnswer() not known here: request 53 for "
                              "OnlineProcessor from tester\n"));
}

TEST_F(RequestTest, HasEveryParticipantOfALogger) {
    const Process logger = startLogger(kMacA);
    const auto tester = client(kMacA);
    for (const char* const participant :
         {"HandheldServer", "EventHandler", "OnlineProcessor", "KSLForwarder", "KRPBusServer"}) {
        ask(*tester, SimpleMessageRequest<23>(), participant);
        EXPECT_NE(nextAnswer(*tester).message, nullptr) << participant;
    }
}

TEST_F(RequestTest, TakesTheAnnouncementsOfItsClients) {
    const Process logger = startLogger(kMacA);
    const auto tester = client(kMacA);
    tester->sendTo("tester", "KRPBusServer",
                   std::make_unique<SystemSetStateKrpBusMessage>(KRPBus::statusNames[2], "", 0));
    EXPECT_TRUE(logger->waitForOutput("tester announces "));
}

TEST_F(RequestTest, IgnoresAnswersAndWhatHasNoReceiver) {
    const Process logger = startLogger(kMacA);
    const auto tester = client(kMacA);
    ask(*tester, StringMessageResponse<53, 1>("Europe/Oslo"));
    EXPECT_TRUE(logger->waitForOutput("nothing to do for HandheldServer: KRPMessageResponse"));
    ask(*tester, SimpleMessageRequest<23>());
    const FromLogger answer = nextAnswer(*tester);
    EXPECT_EQ(answer.as<KRPMessageResponse>()->getKrpMsgID(), 23);
}

}  // namespace
