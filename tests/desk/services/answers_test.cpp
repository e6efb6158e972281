// Answers that are odd on purpose.
#include <gtest/gtest.h>

#include "desk/network/truncated_message.h"
#include "desk/services/failed_answer.h"
#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"

using desk::FailedAnswer;
using desk::Failure;
using desk::TruncatedMessage;

namespace {

std::unique_ptr<MessageBase> overTheBus(const MessageBase& message) {
    ByteWriter writer;
    message.encode(writer);
    return MessageBase::decode(writer.bytes());
}

TEST(FailedAnswer, ArrivesAsTheAnswerTypeOfItsRequest) {
    const FailedAnswer failed(53, Failure{2, errorCode_t::Timeout, "no contact"});
    const auto received = overTheBus(failed);
    const auto* const answer = dynamic_cast<const StringMessageResponse<53, 1>*>(received.get());
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->getStatus(), 2);
    EXPECT_EQ(answer->getErrorCode(), errorCode_t::Timeout);
    EXPECT_EQ(answer->getErrorDescription(), "no contact");
}

TEST(FailedAnswer, IsUnderstoodForEveryRequestThatCanBeAsked) {
    for (const int number : {23, 50, 53, 81, 82, 83, 86, 87, 88, 89, 96, 117, 137}) {
        const auto id = static_cast<krpMsgID_t>(number);
        const auto received = overTheBus(FailedAnswer(id, Failure{}));
        const auto* const answer = dynamic_cast<const KRPMessageResponse*>(received.get());
        ASSERT_NE(answer, nullptr) << id;
        EXPECT_EQ(answer->getKrpMsgID(), id);
        EXPECT_EQ(answer->getStatus(), KRPMessageResponse::KRPSTATUS_ERROR);
    }
}

TEST(TruncatedMessage, IsNoMessageForItsReceiver) {
    EXPECT_EQ(overTheBus(TruncatedMessage(Simple1MessageResponse<23, unsigned char>(7))), nullptr);
    EXPECT_EQ(overTheBus(TruncatedMessage(StringMessageResponse<53, 1>("Europe/Berlin"))), nullptr);
    EXPECT_EQ(overTheBus(TruncatedMessage(String2MessageResponse<82>("a", "b"))), nullptr);
    EXPECT_EQ(overTheBus(TruncatedMessage(StringVectorMessageResponse<88>())), nullptr);
    EXPECT_EQ(overTheBus(TruncatedMessage(Simple1MessageResponse<89, long long>(-1))), nullptr);
    EXPECT_EQ(overTheBus(TruncatedMessage(KRPResponseGetDeviceComponents(1, 0, "1.0", "x"))),
              nullptr);
    EXPECT_EQ(overTheBus(TruncatedMessage(FailedAnswer(23, Failure{}))), nullptr);
}

TEST(TruncatedMessage, SpoilsTheEnvelopeThatItTravelsIn) {
    const RouterMessage router(
        "ksl://0/02:00:00:00:00:02/HandheldServer", "me",
        std::make_unique<TruncatedMessage>(StringMessageResponse<53, 1>("Europe/Berlin")));
    EXPECT_EQ(overTheBus(router), nullptr);
}

TEST(TruncatedMessage, KeepsClassAndSourceChannelAndHalfOfTheRest) {
    const StringMessageResponse<53, 1> whole("Europe/Berlin");
    const TruncatedMessage half(whole);
    EXPECT_EQ(half.getMessageID(), whole.getMessageID());
    EXPECT_EQ(half.getSize(), 3 + (whole.getSize() - 3) / 2);
}

}  // namespace
