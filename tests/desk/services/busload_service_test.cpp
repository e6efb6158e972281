#include "desk/services/busload_service.h"

#include <gmock/gmock.h>

#include "krpbus/messages/gps_trace_message.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "tests/desk/services/live_service.h"

using desk::BusloadService;
using desk::BusReading;
using desk::Clock;
using desk::Stagger;
using testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

constexpr const char* kOtherMac = "02:00:00:00:00:02";

// Two buses, one of them not in use, and a receiver; the loads count how often they were read.
class CountingBuses : public desk::BusSource {
  public:
    const std::vector<desk::Bus>& buses() const override { return buses_; }
    void begin() override { count_ = 0; }
    void read(Duration, std::vector<BusReading>& readings) override {
        BusReading reading;
        reading.value = ++count_;
        reading.unit = BusLoadExtMessage::UNIT_FRAMES_SEC;
        readings.push_back(reading);
    }
    std::optional<desk::GpsReading> readGps(Duration) override {
        return desk::GpsReading{count_ > 1, 1.0, 2.0};
    }

  private:
    const std::vector<desk::Bus> buses_ = {{{BUSID_CAN, 4, 0, "used"}, true},
                                           {{BUSID_LIN, 0, 0, "spare"}, false}};
    std::int32_t count_ = 0;
};

class BusloadServiceTest : public LiveService<BusloadService> {
  protected:
    BusloadServiceTest() {
        service.emplace(*bus, agenda, outbox, std::make_unique<CountingBuses>(), 200.0,
                        std::uint8_t{8});
    }
    std::vector<KRPResponseGetBusNames::busName_t> names(unsigned char activeOnly,
                                                         const std::string& from = "17_KLV1") {
        Simple1MessageRequest<81, unsigned char> request(activeOnly);
        request.setSource(from);
        const auto answer = service->answer(request);
        return dynamic_cast<const KRPResponseGetBusNames&>(*answer).busNames;
    }
};

TEST_F(BusloadServiceTest, ListsTheBusesInUse) {
    EXPECT_THAT(names(1), ElementsAre(KRPResponseGetBusNames::busName_t{BUSID_CAN, 4, 0, "used"}));
}

TEST_F(BusloadServiceTest, ListsAllBusesWhereThoseNotInUseAreWanted) {
    EXPECT_THAT(names(0), ElementsAre(KRPResponseGetBusNames::busName_t{BUSID_CAN, 4, 0, "used"},
                                      KRPResponseGetBusNames::busName_t{BUSID_LIN, 0, 0, "spare"}));
}

TEST_F(BusloadServiceTest, HasItsOffsetForClientsOfOtherLoggers) {
    EXPECT_EQ(names(1, "ksl://0/02:00:00:00:00:02/17_KLV1").front().kslOffset, 8);
}

TEST_F(BusloadServiceTest, LeavesOtherRequestsAndNoticesAlone) {
    EXPECT_EQ(service->answer(SimpleMessageRequest<23>()), nullptr);
    EXPECT_FALSE(notice("77-LVStartSignals"));
    EXPECT_FALSE(service->takeNotice(SystemMessage(25, "75-LVStartBusload")));
    EXPECT_FALSE(runs());
}

TEST_F(BusloadServiceTest, BeginsWhenItsStaggerAllows) {
    const Stagger stagger(kMac);
    service.emplace(*bus, agenda, outbox, std::make_unique<CountingBuses>(), 20.0, std::uint8_t{8},
                    stagger);
    const auto before = stagger.begin(Clock::now(), 50ms);
    notice("75-LVStartBusload");
    EXPECT_EQ((*agenda.next() - before) % 50ms, 0ms);
    EXPECT_FALSE(messages(*client, 1).empty());
}

TEST_F(BusloadServiceTest, SendsLoadsAndGpsStatesFromStartToStop) {
    EXPECT_TRUE(notice("75-LVStartBusload"));
    const auto received = messages(*client, 4);
    ASSERT_GE(received.size(), 4U);
    const auto* load = dynamic_cast<const BusLoadExtMessage*>(received[0].get());
    ASSERT_NE(load, nullptr);
    EXPECT_EQ(load->busId, BUSID_CAN);
    EXPECT_EQ(load->channel, 4);
    EXPECT_EQ(load->kslOffset, 0);
    EXPECT_EQ(load->value, 1);
    EXPECT_EQ(load->unit, BusLoadExtMessage::UNIT_FRAMES_SEC);
    EXPECT_GT(load->timestamp, 0U);
    const auto* gps = dynamic_cast<const GPSTraceMessage*>(received[1].get());
    ASSERT_NE(gps, nullptr);
    EXPECT_EQ(gps->gprmcStatus, "V");
    EXPECT_EQ(dynamic_cast<const GPSTraceMessage&>(*received[3]).gprmcStatus, "A");

    EXPECT_TRUE(notice("76-LVStopBusload"));
    agenda.runDue(Clock::now() + 1h);
    EXPECT_TRUE(notice("76-LVStopBusload"));
}

TEST_F(BusloadServiceTest, HasNothingToDoAfterTheLastStop) {
    notice("75-LVStartBusload");
    notice("75-LVStartBusload");
    notice("76-LVStopBusload");
    for (int i = 0; i < 3; ++i) {
        agenda.runDue(Clock::now() + 1h);
    }
    EXPECT_FALSE(runs());
}

TEST_F(BusloadServiceTest, BeginsItsLoadsAnewWithTheNextStart) {
    notice("75-LVStartBusload");
    messages(*client, 4);
    notice("76-LVStopBusload");
    for (int i = 0; i < 3; ++i) {
        agenda.runDue(Clock::now() + 1h);
    }
    ASSERT_FALSE(runs());
    bus->sendTo("desk", "17_KLV1", std::make_unique<SystemMessage>(255, "last"));
    std::unique_ptr<MessageBase> message;
    do {
        message = nextMessage(*client);
        ASSERT_NE(message, nullptr);
    } while (dynamic_cast<const SystemMessage*>(message.get()) == nullptr);

    notice("75-LVStartBusload");
    const auto received = messages(*client, 1);
    ASSERT_FALSE(received.empty());
    EXPECT_EQ(dynamic_cast<const BusLoadExtMessage&>(*received.front()).value, 1);
}

TEST_F(BusloadServiceTest, SendsWrappedLoadsWithItsOffsetToClientsOfOtherLoggers) {
    const auto other = connect("18_KLV1", kOtherMac);
    notice("75-LVStartBusload", std::string("ksl://0/") + kOtherMac + "/18_KLV1");
    const auto received = messages(*other, 1);
    ASSERT_FALSE(received.empty());
    const auto* router = dynamic_cast<const RouterMessage*>(received[0].get());
    ASSERT_NE(router, nullptr);
    EXPECT_EQ(dynamic_cast<const BusLoadExtMessage&>(*router->getMessage()).kslOffset, 8);
}

TEST_F(BusloadServiceTest, SendsLoadsOnceToAllWhoListenWithTheOffsetThatTheyAreToSee) {
    const auto own = connectListener("21_KLV1", kMac, krpbus::LiveData::Loads);
    const auto other = connectListener("18_KLV1", kOtherMac, krpbus::LiveData::Loads);
    const auto deaf = connect("24_KLV4");  // it says that it listens, and does not
    noticeOfListener("75-LVStartBusload", "24_KLV4");
    noticeOfListener("75-LVStartBusload", "21_KLV1");
    noticeOfListener("75-LVStartBusload", std::string("ksl://0/") + kOtherMac + "/18_KLV1");
    const auto bare = messages(*own, 3);
    ASSERT_GE(bare.size(), 3U);
    EXPECT_EQ(dynamic_cast<const BusLoadExtMessage&>(*bare[0]).kslOffset, 0);
    EXPECT_NE(dynamic_cast<const GPSTraceMessage*>(bare[1].get()), nullptr)
        << "in the order of the round";
    EXPECT_NE(dynamic_cast<const BusLoadExtMessage*>(bare[2].get()), nullptr);
    const auto wrapped = messages(*other, 2);
    ASSERT_GE(wrapped.size(), 2U);
    const auto& figure = dynamic_cast<const RouterMessage&>(*wrapped[0]);
    EXPECT_EQ(dynamic_cast<const BusLoadExtMessage&>(*figure.getMessage()).kslOffset, 8);
    const auto& state = dynamic_cast<const RouterMessage&>(*wrapped[1]);
    EXPECT_NE(dynamic_cast<const GPSTraceMessage*>(state.getMessage()), nullptr);
    EXPECT_TRUE(hasNothing(*deaf)) << "nobody who listens is sent anything alone";
}

TEST_F(BusloadServiceTest, ForgetsAClientThatVanished) {
    notice("75-LVStartBusload");
    messages(*client, 2);
    client.reset();
    EXPECT_TRUE(runUntil([this] { return !runs(); }));
}

TEST_F(BusloadServiceTest, SaysNothingOfLoadsThatItCannotSend) {
    notice("75-LVStartBusload");
    server.stop();
    ASSERT_TRUE(eventually([this] { return !bus->isConnected(); }));
    testing::internal::CaptureStdout();
    for (int i = 0; i < 3; ++i) {
        agenda.runDue(Clock::now() + 1s);
    }
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::Not(testing::HasSubstr("sendTo")));
}

}  // namespace
