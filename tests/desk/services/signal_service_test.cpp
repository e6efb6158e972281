#include "desk/services/signal_service.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

#include "desk/sources/recording_signals.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "tests/krpbus/client/bus_test_client.h"

using desk::Agenda;
using desk::Audience;
using desk::Clock;
using desk::Recording;
using desk::RecordingSignals;
using desk::SignalService;
using testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

constexpr const char* kMac = "02:00:00:00:00:01";

// A service on a real bus, with a client that it serves.
class SignalServiceTest : public testing::Test {
  protected:
    SignalServiceTest() : bus(makeClient(server, "desk", kMac)) {
        newClient();
        service.emplace(*bus, agenda, std::make_unique<RecordingSignals>(recording()), std::nullopt,
                        std::uint8_t{8});
    }
    static std::shared_ptr<const Recording> recording() {
        auto recording = std::make_shared<Recording>();
        recording->signals = {{"Speed", "km/h", true}, {"Gear", "", false}};
        recording->rows = {{0us, {"1.50", "R"}}, {20000us, {"2", ""}}, {40000us, {"", "1"}}};
        return recording;
    }
    void newClient() {
        client = makeClient(server, "17_KLV1", kMac);
        synchronise(*bus, *client);
    }
    bool notice(const std::string& text, const std::string& from = "17_KLV1",
                unsigned char type = SystemMessage::SM_STATE) {
        SystemMessage message(type, text);
        message.setSource(from);
        return service->takeNotice(message);
    }
    // Runs the agenda until the condition holds; false when it has not in time.
    bool runUntil(const std::function<bool()>& condition) {
        const auto deadline = Clock::now() + kPatience;
        while (!condition() && Clock::now() < deadline) {
            agenda.runDue(Clock::now());
            for (const std::string& address : bus->takeVanished()) {
                service->clientMissing(address);
            }
            std::this_thread::sleep_for(1ms);
        }
        return condition();
    }
    // The next `count` values that the client gets.
    std::vector<std::string> values(std::size_t count) {
        std::vector<std::string> lines;
        runUntil([&] {
            while (auto message = nextWaiting(*client)) {
                if (const auto* value = dynamic_cast<const SignalMessage*>(message.get())) {
                    lines.push_back(value->webappName + "=" + value->value);
                    latest[value->webappName] = *value;
                }
            }
            return lines.size() >= count;
        });
        lines.resize(std::min(lines.size(), count));
        return lines;
    }
    bool runs() { return agenda.next().has_value(); }

    NatsServer server;
    Agenda agenda;
    std::unique_ptr<KRPBusClient> bus;
    std::unique_ptr<KRPBusClient> client;
    std::optional<SignalService> service;
    std::map<std::string, SignalMessage> latest;  // by name
};

TEST_F(SignalServiceTest, AnswersRequest137WithItsSignals) {
    SimpleMessageRequest<137> request;
    request.setSource("17_KLV1");
    const auto answer = service->answer(request);
    const auto* configs = dynamic_cast<const KRPResponseGetLVSignalConfig*>(answer.get());
    ASSERT_NE(configs, nullptr);
    ASSERT_EQ(configs->configs.size(), 2U);
    EXPECT_EQ(configs->configs[0].webappName, "Speed");
    EXPECT_EQ(configs->configs[0].kslOffset, 0);
    EXPECT_EQ(service->participant(), "HandheldServer");
}

TEST_F(SignalServiceTest, TellsItsOffsetToClientsOfOtherLoggers) {
    SimpleMessageRequest<137> request;
    request.setSource("ksl://0/02:00:00:00:00:02/17_KLV1");
    const auto answer = service->answer(request);
    EXPECT_EQ(dynamic_cast<const KRPResponseGetLVSignalConfig&>(*answer).configs[1].kslOffset, 8);
}

TEST_F(SignalServiceTest, KnowsNoOtherRequest) {
    EXPECT_EQ(service->answer(SimpleMessageRequest<23>()), nullptr);
}

TEST_F(SignalServiceTest, LeavesOtherNoticesAlone) {
    EXPECT_FALSE(notice("1-config"));
    EXPECT_FALSE(notice("77-LVStartSignals", "17_KLV1", SystemMessage::SM_KSL));
    EXPECT_FALSE(runs());
}

TEST_F(SignalServiceTest, SendsValuesInOrderOnceStarted) {
    EXPECT_TRUE(notice("77-LVStartSignals"));
    EXPECT_THAT(values(5), ElementsAre("Speed=1.50", "Gear=R", "Speed=2", "Gear=1", "Speed=1.50"));
    const SignalMessage& speed = latest["Speed"];
    EXPECT_EQ(speed.instanceName, "Recording.Speed");
    EXPECT_EQ(speed.unit, "km/h");
    EXPECT_EQ(speed.phys, std::stod(speed.value));
    EXPECT_GT(speed.timestamp, 1600000000000000U);
    EXPECT_EQ(speed.getSource(), "HandheldServer");
}

TEST_F(SignalServiceTest, PlaysAtTheSpeedOfTheRecording) {
    const auto begin = Clock::now();
    notice("77-LVStartSignals");
    values(7);  // two rounds, the second one's last row
    EXPECT_GE(Clock::now() - begin, 80ms);
}

TEST_F(SignalServiceTest, PlaysAtTheRateAskedFor) {
    service.emplace(*bus, agenda, std::make_unique<RecordingSignals>(recording()), 20.0,
                    std::uint8_t{8});
    const auto begin = Clock::now();
    notice("77-LVStartSignals");
    EXPECT_THAT(values(5), ElementsAre("Speed=1.50", "Gear=R", "Speed=2", "Gear=1", "Speed=1.50"));
    EXPECT_GE(Clock::now() - begin, 150ms);
}

TEST_F(SignalServiceTest, SendsTwiceToNobodyThatStartsTwice) {
    notice("77-LVStartSignals");
    notice("77-LVStartSignals");
    EXPECT_THAT(values(3), ElementsAre("Speed=1.50", "Gear=R", "Speed=2"));
}

TEST_F(SignalServiceTest, SendsNothingBeforeTheStartAndAfterTheStop) {
    EXPECT_FALSE(runs());
    notice("77-LVStartSignals");
    values(2);
    EXPECT_TRUE(notice("78-LVStopSignals"));
    // The look for vanished clients ends as well.
    ASSERT_TRUE(runUntil([this] { return !runs(); }));
    while (nextWaiting(*client)) {
    }
    synchronise(*client, *bus);

    notice("77-LVStartSignals");
    EXPECT_THAT(values(1), ElementsAre("Speed=1.50"));
}

TEST_F(SignalServiceTest, StopsOnlyWhoHasAskedForIt) {
    auto other = makeClient(server, "18_KLV2", kMac);
    synchronise(*bus, *other);
    notice("77-LVStartSignals");
    notice("77-LVStartSignals", "18_KLV2");
    notice("78-LVStopSignals", "18_KLV2");
    notice("78-LVStopSignals", "19_KLV3");
    EXPECT_EQ(values(4).size(), 4U);
    EXPECT_TRUE(nothingWaits(*other));
}

TEST_F(SignalServiceTest, ServesAClientOnAnotherLogger) {
    auto remote = makeClient(server, "18_KLV2", "02:00:00:00:00:02");
    synchronise(*bus, *remote);
    notice("77-LVStartSignals", "ksl://0/02:00:00:00:00:02/18_KLV2");
    std::unique_ptr<MessageBase> message;
    ASSERT_TRUE(runUntil([&] {
        message = message ? std::move(message) : nextWaiting(*remote);
        return message != nullptr;
    }));
    const auto* router = dynamic_cast<const RouterMessage*>(message.get());
    ASSERT_NE(router, nullptr);
    EXPECT_NE(dynamic_cast<const SignalMessage*>(router->getMessage()), nullptr);
}

TEST_F(SignalServiceTest, ForgetsAClientThatHasVanished) {
    notice("77-LVStartSignals");
    values(1);
    client.reset();
    EXPECT_TRUE(runUntil([this] { return !runs(); }));
}

TEST_F(SignalServiceTest, KeepsAClientThatIsAwayForAMoment) {
    notice("77-LVStartSignals");
    values(1);
    client.reset();
    const auto begin = Clock::now();
    ASSERT_TRUE(runUntil([&] { return Clock::now() - begin > 1500ms; }));
    newClient();
    const auto again = Clock::now();
    ASSERT_TRUE(runUntil([&] { return Clock::now() - again > 3s; }));
    while (nextWaiting(*client)) {
    }
    EXPECT_EQ(values(3).size(), 3U);
}

}  // namespace
