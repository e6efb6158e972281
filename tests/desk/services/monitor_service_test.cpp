#include "desk/services/monitor_service.h"

#include <gmock/gmock.h>

#include "desk/sources/drive_signals.h"
#include "desk/sources/recording_signals.h"
#include "krpbus/messages/krp_get_rc_monitor_names.h"
#include "krpbus/messages/simple_messages.h"
#include "tests/desk/services/live_service.h"

using desk::makeMonitors;
using desk::Monitor;
using desk::MonitorService;
using desk::Recording;
using desk::RecordingSignals;
using desk::SignalConfig;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using namespace std::chrono_literals;

namespace {

std::vector<SignalConfig> named(const std::vector<std::string>& names) {
    std::vector<SignalConfig> configs(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        configs[i].instanceName = names[i];
    }
    return configs;
}

TEST(Monitors, AreOneForEachBus) {
    EXPECT_THAT(makeMonitors(named({"CAN1.Engine.Speed", "CAN2.Gear", "CAN1.Engine.Oil"})),
                ElementsAre(Monitor{"CAN1", {0, 2}}, Monitor{"CAN2", {1}}));
}

TEST(Monitors, AreOneForEachSubjectOfASingleSource) {
    EXPECT_THAT(makeMonitors(named({"Host.Memory.Used", "Host.Uptime", "Host.Memory.Free"})),
                ElementsAre(Monitor{"Host.Memory", {0, 2}}, Monitor{"Host", {1}}));
    EXPECT_THAT(makeMonitors(named({"Host.Net.eth0.Sent", "Host.Net.eth1.Sent"})),
                ElementsAre(Monitor{"Host.Net", {0, 1}}));
    EXPECT_THAT(makeMonitors(named({"Speed", "Speed"})), ElementsAre(Monitor{"Speed", {0, 1}}));
    EXPECT_THAT(makeMonitors({}), IsEmpty());
}

TEST(Monitors, AreAsManyAsThereAreScreens) {
    std::vector<std::string> names;
    for (int i = 0; i < 12; ++i) {
        names.push_back("Bus" + std::to_string(i) + ".Signal");
    }
    const auto monitors = makeMonitors(named(names));
    ASSERT_EQ(monitors.size(), 10U);
    EXPECT_EQ(monitors.back(), (Monitor{"Bus9", {9}}));
}

class MonitorServiceTest : public LiveService<MonitorService> {
  protected:
    MonitorServiceTest() { use(std::make_unique<desk::DriveSignals>()); }
    void use(std::unique_ptr<desk::SignalSource> source) {
        service.emplace(*bus, agenda, std::move(source), std::nullopt);
    }
    void start() { EXPECT_TRUE(notice("61-HCUStartRCMon")); }
    void select(const std::string& screen) {
        EXPECT_TRUE(notice(screen, "17_KLV1", SystemMessage::SM_RCMON));
    }
    // The names of the next `count` values that the client gets.
    std::vector<std::string> shown(std::size_t count) {
        std::vector<std::string> names;
        for (const SignalMessage& value : values(count)) {
            EXPECT_EQ(value.webappName, "");
            names.push_back(value.instanceName);
            latest[value.instanceName] = value;
        }
        return names;
    }
    // Takes all that is on its way to the client.
    void skip() {
        bus->sendTo("desk", "17_KLV1", std::make_unique<SystemMessage>(255, "last"));
        while (auto message = nextMessage(*client)) {
            const auto* last = dynamic_cast<const SystemMessage*>(message.get());
            if (last != nullptr && last->text == "last") {
                return;
            }
        }
        ADD_FAILURE() << "the client gets nothing";
    }

    std::map<std::string, SignalMessage> latest;  // by name
};

TEST_F(MonitorServiceTest, AnswersRequest83WithItsMonitors) {
    EXPECT_EQ(service->participant(), "HandheldServer");
    const auto answer = service->answer(SimpleMessageRequest<83>());
    const auto* names = dynamic_cast<const KRPResponseGetRCMonitorNames*>(answer.get());
    ASSERT_NE(names, nullptr);
    using Entry = KRPResponseGetRCMonitorNames::rcMonitor_t;
    EXPECT_THAT(names->monitors,
                ElementsAre(Entry{0, "CAN1"}, Entry{1, "CAN2"}, Entry{2, "FlexRay1"},
                            Entry{3, "LIN1"}, Entry{4, "Ethernet1"}));
    EXPECT_EQ(service->answer(SimpleMessageRequest<23>()), nullptr);
}

TEST_F(MonitorServiceTest, ShowsTheFirstScreenOnceStarted) {
    EXPECT_FALSE(runs());
    start();
    EXPECT_THAT(shown(30), Each(StartsWith("CAN1.")));
    EXPECT_EQ(latest["CAN1.Vehicle.Speed"].unit, "km/h");
    EXPECT_GT(latest["CAN1.Vehicle.Speed"].timestamp, 1600000000000000U);
    EXPECT_EQ(latest["CAN1.Vehicle.Speed"].getSource(), "HandheldServer");
    // As text where the value has one.
    EXPECT_THAT(latest["CAN1.Pedal.Brake"].value, testing::AnyOf("released", "pressed"));
}

TEST_F(MonitorServiceTest, ShowsTheScreenThatIsSelected) {
    start();
    shown(5);
    select("2");
    skip();
    EXPECT_THAT(shown(20), Each(StartsWith("FlexRay1.")));
}

TEST_F(MonitorServiceTest, KnowsTheScreenThatWasSelectedBeforeTheStart) {
    select("3");
    start();
    EXPECT_THAT(shown(5), Each(StartsWith("LIN1.")));
}

TEST_F(MonitorServiceTest, ShowsNothingOnAScreenWithoutAMonitor) {
    start();
    shown(5);
    select("9");
    skip();
    select("1");
    EXPECT_THAT(shown(5), Each(StartsWith("CAN2.")));
}

TEST_F(MonitorServiceTest, ShowsWhatIsKnownAtOnceWhenAScreenIsSelected) {
    auto recording = std::make_shared<Recording>();
    recording->signals = {{"A.x", "", true}, {"A.y", "", true}, {"B.x", "", true}};
    recording->rows = {{0us, {"1", "2", "3"}}, {3600000000us, {"", "4", ""}}};
    use(std::make_unique<RecordingSignals>(recording));
    start();
    EXPECT_THAT(shown(2), ElementsAre("Recording.A.x", "Recording.A.y"));
    select("1");
    EXPECT_THAT(shown(1), ElementsAre("Recording.B.x"));
    EXPECT_EQ(latest["Recording.B.x"].value, "3");
    // Also to one who comes later, and only to that one.
    const auto other = connect("18_KLV2");
    notice("61-HCUStartRCMon", "18_KLV2");
    const auto message = nextMessage(*other);
    const auto* value = dynamic_cast<const SignalMessage*>(message.get());
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->instanceName, "Recording.B.x");
    synchronise(*client, *bus);
}

TEST_F(MonitorServiceTest, EndsWithTheStopOfTheLastWhoWatches) {
    start();
    shown(1);
    EXPECT_TRUE(notice("62-HCUStopRCMon"));
    EXPECT_TRUE(runUntil([this] { return !runs(); }));
    skip();
    start();
    EXPECT_EQ(shown(5).size(), 5U);
}

TEST_F(MonitorServiceTest, ForgetsAClientThatHasVanished) {
    start();
    shown(1);
    client.reset();
    EXPECT_TRUE(runUntil([this] { return !runs(); }));
}

TEST_F(MonitorServiceTest, LeavesOtherNoticesAlone) {
    EXPECT_FALSE(notice("77-LVStartSignals"));
    EXPECT_FALSE(notice("61-HCUStartRCMon", "17_KLV1", SystemMessage::SM_KSL));
    for (const char* const screen : {"10", "07", "a", "", "/", ":"}) {
        EXPECT_FALSE(notice(screen, "17_KLV1", SystemMessage::SM_RCMON)) << screen;
    }
    EXPECT_FALSE(runs());
}

}  // namespace
