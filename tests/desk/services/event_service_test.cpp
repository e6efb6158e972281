#include "desk/services/event_service.h"

#include <gmock/gmock.h>

#include "krpbus/messages/krp_get_event_index.h"
#include "krpbus/messages/krp_get_event_list.h"
#include "krpbus/messages/simple_messages.h"
#include "tests/krpbus/client/bus_test_client.h"

using desk::EventStore;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kMac = "02:00:00:00:00:01";
constexpr std::uint64_t kTime = 1700000000123456U;
const std::string kMarkerOfTime = "Trigger 2023-11-14 22:13:20.123456";
const std::string kOther = "ksl://0/02:00:00:00:00:02/17_KLV1";

// The services on a real bus, with a client that has registered the bus "Trigger".
class EventServiceTest : public testing::Test {
  protected:
    EventServiceTest() : bus(makeClient(server, "desk", kMac)) {
        identity.timeZone = "Europe/Berlin";
        client = makeClient(server, "17_KLV1", kMac);
        client->registerBus("Trigger");
        synchronise(*bus, *client);
    }
    void report(eventid_t what, const std::string& marker, std::uint64_t time = kTime,
                const std::string& timeZone = "") {
        EXPECT_TRUE(service.takeNotice(
            SystemNgEventMessage(time + 1, what, time, timeZone, marker, 0, "n/a")));
    }
    void press(const std::string& from, std::uint64_t time = kTime, unsigned char pressed = 1,
               unsigned char code = KeyboardMessage::kTriggerKey) {
        KeyboardMessage key(code, pressed, time);
        key.setSource(from);
        EXPECT_TRUE(keys.takeKey(key));
    }
    // What the bus "Trigger" has told, "3 <number> <time> <time zone> <marker>".
    std::string told() {
        const auto message = nextMessage(*client);
        const auto* event = dynamic_cast<const SystemNgEventMessage*>(message.get());
        if (event == nullptr) {
            return "nothing";
        }
        return std::to_string(event->getEventId()) + " " + std::to_string(event->getNumber()) +
               " " + std::to_string(event->getEventTime()) + " " + event->getTimeZone() + " " +
               event->getMarkerId();
    }
    bool isQuiet() {
        bus->sendToBus("desk", "Trigger", std::make_unique<SystemMessage>(255, "last"));
        const auto message = nextMessage(*client);
        const auto* last = dynamic_cast<const SystemMessage*>(message.get());
        return last != nullptr && last->text == "last";
    }
    std::vector<EventStore::Event> events() const {
        return {store.events().begin(), store.events().end()};
    }

    NatsServer server;
    std::unique_ptr<KRPBusClient> bus;
    std::unique_ptr<KRPBusClient> client;
    desk::LoggerIdentity identity;
    EventStore store{"", 10};
    desk::EventRecorder recorder{*bus, store, identity};
    desk::EventService service{recorder, store};
    desk::RepeatedEventRequests repeated{store};
    desk::KeyService keys{recorder};
};

TEST_F(EventServiceTest, HasItsPlaces) {
    EXPECT_EQ(service.participant(), "EventHandler");
    EXPECT_EQ(repeated.participant(), "HandheldServer");
    EXPECT_EQ(keys.participant(), "OnlineProcessor");
}

TEST_F(EventServiceTest, KeepsATriggerAndTellsOfIt) {
    report(EVENTID_TRIGGER_SET, "my marker");
    EXPECT_THAT(events(), ElementsAre(EventStore::Event{kTime, "Europe/Berlin", 1, "my marker"}));
    EXPECT_EQ(told(), "3 1 1700000000123456 Europe/Berlin my marker");
}

TEST_F(EventServiceTest, KeepsTheTimeZoneOfATriggerThatHasOne) {
    report(EVENTID_TRIGGER_SET, "m", kTime, "UTC");
    EXPECT_EQ(told(), "3 1 1700000000123456 UTC m");
}

TEST_F(EventServiceTest, GivesATriggerWithoutAMarkerOneFromItsTime) {
    report(EVENTID_TRIGGER_SET, "");
    EXPECT_EQ(told(), "3 1 1700000000123456 Europe/Berlin " + kMarkerOfTime);
}

TEST_F(EventServiceTest, MakesNoSecondEventForTheKeyPressOfATrigger) {
    report(EVENTID_TRIGGER_SET, "m");
    told();
    press("17_KLV1");
    press("17_KLV1", kTime, 0);
    EXPECT_EQ(store.lastNumber(), 1);
    EXPECT_TRUE(isQuiet());
}

TEST_F(EventServiceTest, MakesAnEventForAKeyPressElsewhere) {
    press(kOther);
    press(kOther, kTime, 0);
    EXPECT_THAT(events(), ElementsAre(EventStore::Event{kTime, "Europe/Berlin", 1, kMarkerOfTime}));
    EXPECT_EQ(told(), "3 1 1700000000123456 Europe/Berlin " + kMarkerOfTime);
    press(kOther);
    EXPECT_EQ(store.lastNumber(), 1);
    EXPECT_TRUE(isQuiet());
}

TEST_F(EventServiceTest, StampsAKeyPressElsewhereWithItsOwnClock) {
    identity.timeOffset = -1000;  // the own clock is 1 ms ahead
    press(kOther);
    EXPECT_EQ(events().front().timestamp, kTime + 1000);
    EXPECT_EQ(events().front().marker_id, kMarkerOfTime);
    press(kOther);
    EXPECT_EQ(store.lastNumber(), 1);
    // The own keyboard's times are those of the own clock.
    press("17_KLV1", kTime + 5);
    EXPECT_EQ(store.events().back().timestamp, kTime + 5);
}

TEST_F(EventServiceTest, IgnoresOtherKeysAndOtherEvents) {
    press(kOther, kTime, 1, 17);
    report(static_cast<eventid_t>(4), "m");
    EXPECT_FALSE(service.takeNotice(SystemMessage(4, "3-stop")));
    EXPECT_THAT(events(), IsEmpty());
    EXPECT_TRUE(isQuiet());
}

TEST_F(EventServiceTest, ForgetsEverythingWhenTheCounterIsReset) {
    report(EVENTID_TRIGGER_SET, "m");
    told();
    report(EVENTID_TRIGGER_COUNT_RESET, "");
    EXPECT_THAT(events(), IsEmpty());
    EXPECT_EQ(told().substr(0, 4), "8 0 ");
}

TEST_F(EventServiceTest, AnswersTheEventsAtBothPlaces) {
    report(EVENTID_TRIGGER_SET, "m");
    const Simple1MessageRequest<50, unsigned char> request(3);
    for (desk::Service* const place :
         {static_cast<desk::Service*>(&service), static_cast<desk::Service*>(&repeated)}) {
        const auto answer = place->answer(request);
        const auto* list = dynamic_cast<const KRPResponseGetEventList*>(answer.get());
        ASSERT_NE(list, nullptr);
        EXPECT_EQ(list->getStatus(), 0);
        EXPECT_EQ(list->events, events());
    }
    EXPECT_EQ(keys.answer(request), nullptr);
}

TEST_F(EventServiceTest, AnswersTheIndexOfTheNewestEvent) {
    report(EVENTID_TRIGGER_SET, "a");
    report(EVENTID_TRIGGER_SET, "b");
    const Simple1MessageRequest<96, unsigned char> request(3);
    const auto answer = service.answer(request);
    const auto* index = dynamic_cast<const KRPResponseGetEventIndex*>(answer.get());
    ASSERT_NE(index, nullptr);
    EXPECT_EQ(index->selector, 3);
    EXPECT_EQ(index->index, 2);
    EXPECT_EQ(repeated.answer(request), nullptr);
}

TEST_F(EventServiceTest, RefusesOtherKindsOfEvents) {
    const auto isRefused = [this](const KRPMessageRequest& request) {
        const auto answer = service.answer(request);
        return answer != nullptr && answer->getStatus() == KRPMessageResponse::KRPSTATUS_ERROR &&
               answer->getErrorCode() == errorCode_t::InvalidParameter;
    };
    EXPECT_TRUE(isRefused(Simple1MessageRequest<50, unsigned char>(2)));
    EXPECT_TRUE(isRefused(Simple1MessageRequest<96, unsigned char>(2)));
    EXPECT_TRUE(isRefused(SimpleMessageRequest<50>()));
    EXPECT_EQ(service.answer(SimpleMessageRequest<23>()), nullptr);
}

}  // namespace
