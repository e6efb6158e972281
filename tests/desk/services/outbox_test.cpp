#include "desk/services/outbox.h"

#include <gmock/gmock.h>

#include "krpbus/messages/signal_message.h"
#include "tests/krpbus/client/bus_test_client.h"

using desk::Agenda;
using desk::Clock;
using desk::Outbox;
using testing::ElementsAre;

namespace {

constexpr const char* kMac = "02:00:00:00:00:01";

class OutboxTest : public testing::Test {
  protected:
    OutboxTest() { synchronise(*bus_, *client_); }
    std::string next() {
        const auto message = nextMessage(*client_);
        const auto* const value = dynamic_cast<const SignalMessage*>(message.get());
        return value != nullptr ? value->webappName : "none";
    }

    NatsServer server_;
    Agenda agenda_;
    std::unique_ptr<KRPBusClient> bus_ = makeClient(server_, "desk", kMac);
    // It receives for all of them, in the order in which it was sent.
    std::unique_ptr<KRPBusClient> client_ = makeClient(server_, "1_KLV1", kMac);
    Outbox outbox_{*bus_, agenda_};
};

TEST_F(OutboxTest, SendsToOneClientAfterTheOtherWhatWasAddedInTurn) {
    client_->addParticipant("2_KLV2");
    synchronise(*bus_, *client_);
    // Two services, each of which goes round the clients.
    agenda_.at(Clock::now(), [this] {
        outbox_.add("1_KLV1", signal("speed", "1"));
        outbox_.add("2_KLV2", signal("other speed", "1"));
    });
    agenda_.at(Clock::now(), [this] {
        outbox_.add("1_KLV1", signal("load", "1"));
        outbox_.add("2_KLV2", signal("other load", "1"));
    });
    agenda_.runDue(Clock::now());
    EXPECT_TRUE(nothingWaits(*client_)) << "it waits for all who are due now";
    agenda_.runDue(Clock::now());
    const std::vector<std::string> received{next(), next(), next(), next()};
    EXPECT_THAT(received, ElementsAre("speed", "load", "other speed", "other load"));
    EXPECT_FALSE(agenda_.next());
}

TEST_F(OutboxTest, SendsToAllWhoListenWhenItIsDueForThoseWhoAreThereThen) {
    const auto other = makeClient(server_, "3_KLV3", "02:00:00:00:00:02");
    other->listenToLive(krpbus::LiveData::Signals);
    client_->listenToLive(krpbus::LiveData::Signals);
    synchronise(*bus_, *client_);
    synchronise(*bus_, *other);
    const std::vector<std::string> first{"02:00:00:00:00:03"};
    const std::vector<std::string> second{"02:00:00:00:00:02", "02:00:00:00:00:03"};
    agenda_.at(Clock::now(), [&] {
        outbox_.addForMany(krpbus::LiveData::Signals, {}, signal("speed", "1"));
        outbox_.addForMany(krpbus::LiveData::Signals, first, signal("speed", "1"));
        outbox_.addForMany(krpbus::LiveData::Signals, second, signal("load", "1"));
    });
    agenda_.runDue(Clock::now());
    EXPECT_TRUE(nothingWaits(*client_)) << "it waits for all who are due now";
    agenda_.runDue(Clock::now());
    EXPECT_EQ(next(), "speed");
    EXPECT_TRUE(nothingWaits(*client_));
    for (const std::string name : {"speed", "load"}) {
        const auto message = nextMessage(*other);
        ASSERT_NE(message, nullptr) << name;
        EXPECT_NE(message->toString().find("[webappName=" + name + "]"), std::string::npos) << name;
    }
    EXPECT_FALSE(agenda_.next());
}

TEST_F(OutboxTest, BeginsAfreshOnceItWasEmptied) {
    outbox_.add("1_KLV1", signal("first", "1"));
    agenda_.runDue(Clock::now());
    outbox_.add("1_KLV1", signal("second", "1"));
    agenda_.runDue(Clock::now());
    EXPECT_EQ(next(), "first");
    EXPECT_EQ(next(), "second");
    EXPECT_TRUE(nothingWaits(*client_));
}

}  // namespace
