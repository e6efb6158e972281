#include "desk/services/signal_service.h"

#include <gmock/gmock.h>

#include <iterator>
#include <set>

#include "desk/sources/recording_signals.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "tests/desk/services/live_service.h"

using desk::Clock;
using desk::Recording;
using desk::RecordingSignals;
using desk::SignalService;
using desk::Stagger;
using testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

class SignalServiceTest : public LiveService<SignalService> {
  protected:
    SignalServiceTest() { use(std::nullopt); }
    void use(std::optional<double> rate, const Stagger& stagger = {}) {
        service.emplace(*bus, agenda, outbox, std::make_unique<RecordingSignals>(recording()), rate,
                        std::uint8_t{8}, stagger);
    }
    static std::shared_ptr<const Recording> recording() {
        auto recording = std::make_shared<Recording>();
        recording->signals = {{"Speed", "km/h", true}, {"Gear", "", false}};
        recording->rows = {{0us, {"1.50", "R"}}, {20000us, {"2", ""}}, {40000us, {"", "1"}}};
        return recording;
    }
    static std::vector<std::string> lines(const std::vector<SignalMessage>& values) {
        std::vector<std::string> lines;
        for (const SignalMessage& value : values) {
            lines.push_back(value.webappName + "=" + value.value);
        }
        return lines;
    }
    // The next `count` values that the client gets.
    std::vector<std::string> shown(std::size_t count) { return lines(values(count)); }
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
    const auto sent = values(5);
    ASSERT_THAT(lines(sent),
                ElementsAre("Speed=1.50", "Gear=R", "Speed=2", "Gear=1", "Speed=1.50"));
    const SignalMessage& speed = sent.back();
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
    use(20.0);
    const auto begin = Clock::now();
    notice("77-LVStartSignals");
    EXPECT_THAT(shown(5), ElementsAre("Speed=1.50", "Gear=R", "Speed=2", "Gear=1", "Speed=1.50"));
    EXPECT_GE(Clock::now() - begin, 150ms);
}

TEST_F(SignalServiceTest, StampsValuesThatAreLateWithTheTimeAtWhichTheyWereDue) {
    use(50.0);
    notice("77-LVStartSignals");
    std::vector<SignalMessage> sent = values(2);
    std::this_thread::sleep_for(300ms);  // nothing is sent meanwhile
    for (SignalMessage& late : values(12)) {
        sent.push_back(std::move(late));
    }
    ASSERT_EQ(sent.size(), 14U);
    std::set<std::uint64_t> stamps;
    for (const SignalMessage& value : sent) {
        stamps.insert(value.timestamp);
    }
    ASSERT_GE(stamps.size(), 10U);
    for (auto next = std::next(stamps.begin()); next != stamps.end(); ++next) {
        EXPECT_GE(*next - *std::prev(next), 10'000U);
    }
}

TEST_F(SignalServiceTest, BeginsWhenItsStaggerAllows) {
    const Stagger stagger(kMac);
    use(20.0, stagger);
    const auto before = stagger.begin(Clock::now(), 50ms);
    notice("77-LVStartSignals");
    EXPECT_EQ((*agenda.next() - before) % 50ms, 0ms);
    EXPECT_THAT(shown(3), ElementsAre("Speed=1.50", "Gear=R", "Speed=2"));
}

TEST_F(SignalServiceTest, SendsTwiceToNobodyThatStartsTwice) {
    notice("77-LVStartSignals");
    notice("77-LVStartSignals");
    EXPECT_THAT(shown(3), ElementsAre("Speed=1.50", "Gear=R", "Speed=2"));
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
    EXPECT_THAT(shown(1), ElementsAre("Speed=1.50"));
}

TEST_F(SignalServiceTest, StopsOnlyWhoHasAskedForIt) {
    const auto other = connect("18_KLV2");
    notice("77-LVStartSignals");
    notice("77-LVStartSignals", "18_KLV2");
    notice("78-LVStopSignals", "18_KLV2");
    notice("78-LVStopSignals", "19_KLV3");
    EXPECT_EQ(values(4).size(), 4U);
    EXPECT_TRUE(nothingWaits(*other));
}

TEST_F(SignalServiceTest, ServesAClientOnAnotherLogger) {
    const auto remote = connect("18_KLV2", "02:00:00:00:00:02");
    notice("77-LVStartSignals", "ksl://0/02:00:00:00:00:02/18_KLV2");
    const auto received = messages(*remote, 1);
    ASSERT_FALSE(received.empty());
    const auto* router = dynamic_cast<const RouterMessage*>(received.front().get());
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

// Values, forwarded or not, as far as they have come in.
std::vector<std::string> taken(const std::vector<std::unique_ptr<MessageBase>>& messages) {
    std::vector<std::string> lines;
    for (const auto& message : messages) {
        const MessageBase* inner = message.get();
        std::string from;
        if (const auto* const router = dynamic_cast<const RouterMessage*>(inner)) {
            from = router->getSourceAddress() + " ";
            inner = router->getMessage();
        }
        const auto* const value = dynamic_cast<const SignalMessage*>(inner);
        lines.push_back(value != nullptr ? from + value->webappName + "=" + value->value : "none");
    }
    return lines;
}

const std::string kSecond = "02:00:00:00:00:02";
const std::string kThird = "02:00:00:00:00:03";
const std::string kFromHere = "ksl://0/02:00:00:00:00:01/HandheldServer ";

// Each value once and in order, whoever else is served in another way.
TEST_F(SignalServiceTest, ServesListenersAndOthersSideBySide) {
    const auto own = connectListener("21_KLV1", kMac, krpbus::LiveData::Signals);
    const auto remote = connectListener("22_KLV2", kSecond, krpbus::LiveData::Signals);
    const auto remoteAlone = connect("23_KLV3", kThird);
    const auto deaf = connect("24_KLV4");  // it says that it listens, and does not
    noticeOfListener("77-LVStartSignals", "24_KLV4");
    notice("77-LVStartSignals");
    notice("77-LVStartSignals", "ksl://0/" + kThird + "/23_KLV3");
    noticeOfListener("77-LVStartSignals", "21_KLV1");
    noticeOfListener("77-LVStartSignals", "ksl://0/" + kSecond + "/22_KLV2");
    const std::vector<std::string> bare{"Speed=1.50", "Gear=R", "Speed=2", "Gear=1"};
    std::vector<std::string> wrapped;
    for (const std::string& line : bare) {
        wrapped.push_back(kFromHere + line);
    }
    EXPECT_EQ(shown(4), bare);
    const auto four = [this](KRPBusClient& receiver) {
        auto all = taken(messages(receiver, 4));
        all.resize(std::min<std::size_t>(all.size(), 4));
        return all;
    };
    EXPECT_EQ(four(*own), bare);
    EXPECT_EQ(four(*remote), wrapped);
    EXPECT_EQ(four(*remoteAlone), wrapped);
    EXPECT_TRUE(hasNothing(*deaf)) << "nobody who listens is sent anything alone";
}

// Its own logger forwards without what it says beside the bytes.
TEST_F(SignalServiceTest, SendsOnceToAListenerThatItServesAlone) {
    const auto behind = connectListener("21_KLV1", kSecond, krpbus::LiveData::Signals);
    const auto listener = connectListener("22_KLV2", kThird, krpbus::LiveData::Signals);
    notice("77-LVStartSignals", "ksl://0/" + kSecond + "/21_KLV1");
    noticeOfListener("77-LVStartSignals", "ksl://0/" + kThird + "/22_KLV2");
    auto lines = taken(messages(*behind, 4));
    lines.resize(std::min<std::size_t>(lines.size(), 4));
    EXPECT_THAT(lines, ElementsAre(kFromHere + "Speed=1.50", kFromHere + "Gear=R",
                                   kFromHere + "Speed=2", kFromHere + "Gear=1"));
}

TEST_F(SignalServiceTest, SendsNothingToListenersOnceTheLastOneHasStopped) {
    const auto own = connectListener("21_KLV1", kMac, krpbus::LiveData::Signals);
    noticeOfListener("77-LVStartSignals", "21_KLV1");
    EXPECT_EQ(messages(*own, 2).size(), 2U);
    notice("78-LVStopSignals", "21_KLV1");
    ASSERT_TRUE(runUntil([this] { return !runs(); }));
    synchronise(*bus, *own);  // what came before it has stopped is thrown away
    agenda.runDue(desk::Clock::now() + 1h);
    EXPECT_TRUE(hasNothing(*own));
}

TEST_F(SignalServiceTest, ForgetsAListenerThatHasVanished) {
    auto own = connectListener("21_KLV1", kMac, krpbus::LiveData::Signals);
    noticeOfListener("77-LVStartSignals", "21_KLV1");
    EXPECT_FALSE(messages(*own, 1).empty());
    own.reset();
    EXPECT_TRUE(runUntil([this] { return !runs(); }));
}

TEST_F(SignalServiceTest, ServesAsItWasAskedLast) {
    const auto own = connect("21_KLV1");
    noticeOfListener("77-LVStartSignals", "21_KLV1");
    notice("77-LVStartSignals", "21_KLV1");
    auto lines = taken(messages(*own, 4));
    lines.resize(std::min<std::size_t>(lines.size(), 4));
    EXPECT_THAT(lines, ElementsAre("Speed=1.50", "Gear=R", "Speed=2", "Gear=1"));
}

}  // namespace
