// What messages are, beside their bytes.
#include <gtest/gtest.h>

#include <sstream>

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/keyboard_message.h"
#include "krpbus/messages/krp_set_audio_file.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "krpbus/messages/system_set_state_message.h"

namespace {

template <class T>
std::string printed(const T& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

TEST(Request, StartsOutAsAPlainOne) {
    const SimpleMessageRequest<23> request;
    EXPECT_EQ(request.getMessageID(), 61440);
    EXPECT_EQ(request.getSourceChannel(), 0);
    EXPECT_EQ(request.krpMsgID, 23);
    EXPECT_TRUE(request.payload.empty());
    EXPECT_EQ(request.word, 0);
    EXPECT_EQ(request.name, "NotSet");
    EXPECT_EQ(request.count, 1);
    EXPECT_EQ(request.getSize(), 13U);
}

TEST(Request, IsNeverTheSameAsAnother) {
    const SimpleMessageRequest<23> request;
    EXPECT_FALSE(request == request);
    EXPECT_FALSE(request == SimpleMessageRequest<23>());
}

TEST(Request, CarriesItsNumbers) {
    const Simple1MessageRequest<50, unsigned char> one(3, "NotSet");
    EXPECT_EQ(one.getValue(), 3);
    EXPECT_EQ(one.payload, std::vector<std::uint8_t>{3});
    EXPECT_EQ(one.getSize(), 14U);
    const Simple2MessageRequest<87, unsigned int, unsigned int> two(1, 0x01020304);
    EXPECT_EQ(two.getFirst(), 1U);
    EXPECT_EQ(two.getSecond(), 0x01020304U);
    EXPECT_EQ(two.payload, (std::vector<std::uint8_t>{0, 0, 0, 1, 1, 2, 3, 4}));
}

TEST(Request, CarriesAnAudioFile) {
    const KRPRequestSetAudioFile request(1, 2, "/tmp/1.wav", "m1");
    EXPECT_EQ(request.getStartTime(), 1U);
    EXPECT_EQ(request.getEndTime(), 2U);
    EXPECT_EQ(request.getFileName(), "/tmp/1.wav");
    EXPECT_EQ(request.getMarkerId(), "m1");
    EXPECT_EQ(request.getSize(), 13U + 4 + 4 + (4 + 10) + (4 + 2));
}

TEST(Request, IsPrintedInOneLine) {
    EXPECT_EQ(printed(Simple1MessageRequest<81, unsigned char>(0xAB)),
              "KRPMessageRequest [id=81] [name=NotSet] [payload=ab]");
}

TEST(Answer, IsBusyWithStatusErrorAndFirstErrorCodeSeven) {
    SimpleMessageResponse<87> answer;
    EXPECT_FALSE(answer.isBusy());
    EXPECT_EQ(answer.getErrorCode(), errorCode_t::None);
    answer.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Busy, "later");
    EXPECT_TRUE(answer.isBusy());
    EXPECT_EQ(answer.getErrorDescription(), "later");
    answer.errorCode = {1, 7};
    EXPECT_FALSE(answer.isBusy());
    answer.setError(KRPMessageResponse::KRPSTATUS_NOTAVAILABLE, errorCode_t::Busy);
    EXPECT_FALSE(answer.isBusy());
}

TEST(Answer, IsPrintedInOneLine) {
    Simple1MessageResponse<89, long long> answer(-3);
    EXPECT_EQ(printed(answer), "KRPMessageResponse [id=89] [status=0] [value=-3]");
    answer.setError(2, errorCode_t::Busy, "later");
    EXPECT_EQ(printed(answer),
              "KRPMessageResponse [id=89] [status=2] [errorCode=KRPERROR_BUSY] "
              "[errorDescription=later] [value=-3]");
    EXPECT_EQ(printed(Simple1MessageResponse<23, unsigned char>(65)),
              "KRPMessageResponse [id=23] [status=0] [value=65]")
        << "a byte is a number, no letter";
}

TEST(ErrorCode, HasAStableTextPerCode) {
    const std::vector<std::string> texts = {"KRPERROR_NONE",
                                            "KRPERROR_UNKNOWN_REQUEST",
                                            "KRPERROR_INVALID_PARAMETER",
                                            "KRPERROR_NOT_ALLOWED",
                                            "KRPERROR_NOT_FOUND",
                                            "KRPERROR_TIMEOUT",
                                            "KRPERROR_NO_RESOURCES",
                                            "KRPERROR_BUSY",
                                            "KRPERROR_INTERNAL",
                                            "KRPERROR_9"};
    for (std::size_t code = 0; code < texts.size(); ++code) {
        EXPECT_EQ(printed(static_cast<errorCode_t>(code)), texts[code]);
    }
    EXPECT_EQ(printed(static_cast<errorCode_t>(255)), "KRPERROR_255");
}

TEST(RouterMessage, CutsItsAddressesTo255Characters) {
    const RouterMessage message(std::string(255, 'a') + "b", std::string(300, 'c'), nullptr);
    EXPECT_EQ(message.getMessageID(), 65534);
    EXPECT_EQ(message.getSourceAddress(), std::string(255, 'a'));
    EXPECT_EQ(message.getDestinationAddress(), std::string(255, 'c'));
}

TEST(RouterMessage, OwnsTheMessageInside) {
    RouterMessage message("a", "b", std::make_unique<SystemMessage>(4, "1-config"));
    const RouterMessage copy(message);
    EXPECT_NE(copy.getMessage(), message.getMessage());
    EXPECT_EQ(printed(message),
              "RouterMessage [source=a] [destination=b] [message=SystemMessage [type=4] "
              "[text=1-config]]");
    const auto inner = message.takeMessage();
    EXPECT_NE(inner, nullptr);
    EXPECT_EQ(message.getMessage(), nullptr);
    EXPECT_EQ(printed(message), "RouterMessage [source=a] [destination=b] [message=]");
}

TEST(SystemMessage, HasItsOwnNumbers) {
    EXPECT_EQ(SystemMessage(4, "").getMessageID(), 128);
    EXPECT_EQ(SystemMessage::SM_RCMON, 25);
    EXPECT_EQ(KeyboardMessage(16, 1, 0).getMessageID(), 32817);
    EXPECT_EQ(printed(SystemMessage(25, "9")), "SystemMessage [type=25] [text=9]");
}

TEST(SystemNgEventMessage, IsASystemMessageOfNeitherStateNorNetwork) {
    const SystemNgEventMessage event(11, EVENTID_TRIGGER_SET, 10, "UTC", "m1", 7,
                                     SystemMessage::NOT_AVAILABLE);
    const SystemMessage& base = event;
    EXPECT_NE(base.getType(), SystemMessage::SM_STATE);
    EXPECT_NE(base.getType(), SystemMessage::SM_KSL);
    EXPECT_EQ(event.getTime(), 11U);
    EXPECT_EQ(event.getEventTime(), 10U);
    EXPECT_EQ(event.getEventId(), 3);
    EXPECT_EQ(event.getNumber(), 7);
    EXPECT_EQ(event.getTimeZone(), "UTC");
    EXPECT_EQ(event.getMarkerId(), "m1");
    EXPECT_EQ(printed(event),
              "SystemNgEventMessage [eventId=3] [eventTime=10] [number=7] [time=11] "
              "[timeZone=UTC] [markerId=m1] [text=n/a]");
}

TEST(SystemSetStateKrpBusMessage, AnnouncesARunningClient) {
    EXPECT_STREQ(KRPBus::statusNames[2], "2-running");
    EXPECT_EQ(printed(SystemSetStateKrpBusMessage(KRPBus::statusNames[2], "", 0)),
              "SystemSetStateKrpBusMessage [status=2-running] [description=] [time=0]");
}

TEST(SignalValue, IsNumericForTheNumbers) {
    for (int type = 0; type < 256; ++type) {
        EXPECT_EQ(isNumeric(static_cast<signalValue_t>(type)), type >= 1 && type <= 4) << type;
    }
    EXPECT_EQ(printed(SIGNALVALUE_DOUBLE), "SIGNALVALUE_DOUBLE");
    EXPECT_EQ(printed(static_cast<signalValue_t>(42)), "SIGNALVALUE_42");
}

TEST(BusId, HasATextForEachKnownNumber) {
    const std::vector<std::string> texts = {
        "BUSID_UNKNOWN", "BUSID_CAN",      "BUSID_SERIAL",  "BUSID_MOST25",  "BUSID_FLEXRAY",
        "BUSID_LIN",     "BUSID_ETHERNET", "BUSID_CAMERA",  "BUSID_MOST150", "BUSID_MOST50",
        "BUSID_ANALOG",  "BUSID_CCPXCP",   "BUSID_GPIO",    "BUSID_GPS",     "BUSID_ECL",
        "BUSID_UNKNOWN", "BUSID_TTY",      "BUSID_UNKNOWN", "BUSID_UNKNOWN", "BUSID_MII",
        "BUSID_UNKNOWN"};
    for (std::size_t id = 0; id < texts.size(); ++id) {
        EXPECT_EQ(busIdText(static_cast<busid_t>(id)), texts[id]) << id;
        EXPECT_EQ(printed(static_cast<busid_t>(id)), texts[id]) << id;
    }
}

TEST(BusLoadUnit, HasATextForEachKnownNumber) {
    const std::vector<std::string> texts = {
        "UNIT_NONE",       "UNIT_PERCENT",    "UNIT_BYTES_SEC",  "UNIT_KBYTES_SEC",
        "UNIT_MBYTES_SEC", "UNIT_GBYTES_SEC", "UNIT_FRAMES_SEC", "UNIT_KFRAMES_SEC",
        "UNIT_BYTES",      "UNIT_KBYTES",     "UNIT_MBYTES",     "UNIT_GBYTES",
        "UNIT_NONE"};
    for (std::size_t unit = 0; unit < texts.size(); ++unit) {
        EXPECT_EQ(busLoadUnitText(static_cast<BusLoadExtMessage::unit_t>(unit)), texts[unit]);
        EXPECT_EQ(printed(static_cast<BusLoadExtMessage::unit_t>(unit)), texts[unit]);
    }
}

}  // namespace
