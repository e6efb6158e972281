#include "threads/thread_krpbus_lv_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "tests/kit/bus_loggers.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/worker_session.h"
#include "tests/threads/recording_modules.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string kLocal = "02:00:00:00:00:0A";
const std::string kOther = "02:00:00:00:00:0B";

class RoutingThread : public testing::Test {
  protected:
    RoutingThread() {
        moduleTable = &RecordingModules::table;
        setenv("KRPBUS_SERVER", nats_.address().c_str(), 1);
        setenv("KRPBUS_MAC", kLocal.c_str(), 1);
    }

    void make() {
        thread_ = std::make_unique<ThreadKrpbusLvData>(&session_.setup, 0, "krpbus", krpbus_run);
    }

    const std::vector<std::string>& calls() const { return recordingModules.calls; }

    NatsServer nats_;
    WorkerSession session_;
    LogCapture log_;
    std::unique_ptr<ThreadKrpbusLvData> thread_;
};

class Routing : public RoutingThread {
  protected:
    Routing() {
        make();
        log_.clear();
    }

    void route(const MessageBase& message) { thread_->handleMessages(&message); }

    // As the message comes from another logger, whose address is in lower case.
    void routeForwarded(const MessageBase& message) {
        route(
            RouterMessage("ksl://0/02:00:00:00:00:0b/HandheldServer", "17_KLV1", message.clone()));
    }

    std::vector<std::string> routed() const { return log_.logLines("handleMessages"); }
};

SystemMessage state(const std::string& text) {
    return {SystemMessage::SM_STATE, text};
}

SystemNgEventMessage event(std::uint8_t id) {
    return {1, static_cast<eventid_t>(id), 2, "UTC", "marker", 3, "text"};
}

}  // namespace

TEST_F(Routing, OffersAnAnswerToEveryModuleInOrder) {
    route(SimpleMessageResponse<87>());
    EXPECT_THAT(calls(), ElementsAre("busload answer87 " + kLocal, "monitor answer87",
                                     "signal answer87 " + kLocal, "common answer87 " + kLocal,
                                     "audio answer87", "trigger answer87 " + kLocal));
    EXPECT_THAT(routed(), IsEmpty());
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(Routing, HandsAForwardedMessageToBusloadStillWrappedAndToTheOthersUnwrapped) {
    routeForwarded(SimpleMessageResponse<87>());
    EXPECT_THAT(calls(), ElementsAre("busload RouterMessage " + kOther, "monitor answer87",
                                     "signal answer87 " + kOther, "common answer87 " + kOther,
                                     "audio answer87", "trigger answer87 " + kOther));
}

TEST_F(Routing, StopsAtTheModuleThatClaimsTheMessage) {
    const std::vector<std::string> order = {"busload", "monitor", "signal"};
    for (std::size_t i = 0; i < order.size(); ++i) {
        recordingModules = {{}, {order[i]}};
        route(SimpleMessageResponse<87>());
        EXPECT_EQ(calls().size(), i + 1) << order[i];
        EXPECT_THAT(calls().back(), testing::StartsWith(order[i]));
    }
}

TEST_F(Routing, AsksAudioWhateverTheCommonHandlerSays) {
    recordingModules.claiming = {"common"};
    route(SimpleMessageResponse<87>());
    EXPECT_EQ(calls().size(), 6U);
}

TEST_F(Routing, KeepsAnAnswerThatAudioClaimsFromTheTriggers) {
    recordingModules.claiming = {"audio"};
    route(SimpleMessageResponse<87>());
    EXPECT_THAT(calls(), ElementsAre("busload answer87 " + kLocal, "monitor answer87",
                                     "signal answer87 " + kLocal, "common answer87 " + kLocal,
                                     "audio answer87"));
}

TEST_F(Routing, OffersFurtherModulesUnwrappedWhatNoneOfTheOthersTook) {
    moduleTable = &RecordingModules::tableWithFurther;
    recordingModules.claiming = {"common"};
    routeForwarded(SimpleMessageResponse<87>());
    ASSERT_EQ(calls().size(), 8U);
    EXPECT_EQ(calls()[6], "further answer87 " + kOther);
    EXPECT_EQ(calls()[7], "last answer87 " + kOther);

    recordingModules = {{}, {"further"}};
    route(SignalMessage());
    EXPECT_THAT(calls(),
                ElementsAre("busload SignalMessage " + kLocal, "monitor SignalMessage",
                            "signal SignalMessage " + kLocal, "further SignalMessage " + kLocal));
}

TEST_F(Routing, KeepsFromFurtherModulesWhatAnotherTook) {
    moduleTable = &RecordingModules::tableWithFurther;
    for (const char* taker : {"busload", "monitor", "signal", "audio", "trigger"}) {
        recordingModules = {{}, {taker}};
        route(SimpleMessageResponse<87>());
        EXPECT_THAT(calls().back(), testing::StartsWith(taker));
    }
    recordingModules = {};
    route(state("3-stop"));
    EXPECT_THAT(calls(), ElementsAre("busloadSetUnknown"));
}

TEST_F(Routing, DropsWhatNobodyClaimsAndIsNoAnswer) {
    route(SignalMessage());
    EXPECT_THAT(calls(), ElementsAre("busload SignalMessage " + kLocal, "monitor SignalMessage",
                                     "signal SignalMessage " + kLocal));
    EXPECT_THAT(log_.logLines(), IsEmpty());
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(Routing, DropsAnEmptyEnvelope) {
    route(RouterMessage("ksl://0/02:00:00:00:00:0b/HandheldServer", "17_KLV1", nullptr));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_.logLines(), IsEmpty());
}

TEST_F(Routing, LogsAnAnswerThatIsNotAvailableAndGoesOn) {
    SimpleMessageResponse<87> answer;
    answer.setError(KRPMessageResponse::KRPSTATUS_NOTAVAILABLE, errorCode_t::None);
    route(answer);
    EXPECT_THAT(
        routed(),
        ElementsAre("[ERROR] KLV::handleMessages() KRPMessageResponse::KRPSTATUS_NOTAVAILABLE",
                    "[ERROR] KLV::handleMessages() message: " + answer.toString()));
    EXPECT_EQ(calls().size(), 6U);
}

TEST_F(Routing, SaysNothingAboutAnUnavailableAnswerThatAModuleClaims) {
    SimpleMessageResponse<87> answer;
    answer.setError(KRPMessageResponse::KRPSTATUS_NOTAVAILABLE, errorCode_t::None);
    recordingModules.claiming = {"signal"};
    route(answer);
    EXPECT_THAT(routed(), IsEmpty());
}

TEST_F(Routing, LogsABusyLoggerAndGoesOn) {
    SimpleMessageResponse<87> answer;
    answer.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Busy, "later");
    routeForwarded(answer);
    EXPECT_THAT(routed(), ElementsAre("[INFO] KLV::handleMessages() " + answer.toString()));
    EXPECT_EQ(calls().size(), 6U);
}

TEST_F(Routing, SaysNothingAboutOtherFailures) {
    SimpleMessageResponse<87> answer;
    answer.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::NotFound);
    route(answer);
    answer.errorCode.clear();
    route(answer);
    answer.errorCode = {0, 7};
    route(answer);
    EXPECT_THAT(routed(), IsEmpty());
    EXPECT_EQ(calls().size(), 18U);
}

TEST_F(Routing, ClosesTheConnectionWhenTheLoggerIsConfigured) {
    const SystemMessage message = state("1-config");
    route(message);
    EXPECT_THAT(routed(),
                ElementsAre("[DEBUG] KLV::handleMessages() config message: " + message.toString()));
    EXPECT_THAT(session_.sent(), ElementsAre("close 1001"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Routing, ShowsBusLoadsAsUnknownWhenTheLoggerIsOff) {
    const SystemMessage message = state("8-loggerOff");
    routeForwarded(message);
    EXPECT_THAT(routed(), ElementsAre("[DEBUG] KLV::handleMessages() logger is off message: " +
                                      message.toString()));
    EXPECT_THAT(calls(), ElementsAre("busloadSetUnknown"));
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(Routing, ShowsBusLoadsAsUnknownWhenTheLoggerStops) {
    const SystemMessage message = state("3-stop");
    route(message);
    EXPECT_THAT(routed(),
                ElementsAre("[DEBUG] KLV::handleMessages() stop message: " + message.toString()));
    EXPECT_THAT(calls(), ElementsAre("busloadSetUnknown"));
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(Routing, IgnoresAllOtherStates) {
    for (const char* text : {"", "1-configx", "1-confi", "2-run", "3-Stop", "8-loggeroff"}) {
        route(state(text));
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_.logLines(), IsEmpty());
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(Routing, ClosesTheConnectionWhenTheNetworkChanges) {
    const SystemMessage message(SystemMessage::SM_KSL, "1-config");
    route(message);
    EXPECT_THAT(routed(),
                ElementsAre("[DEBUG] KLV::handleMessages() ksl message: " + message.toString()));
    EXPECT_THAT(session_.sent(), ElementsAre("close 1001"));
}

TEST_F(Routing, IgnoresAllOtherNotices) {
    for (unsigned int type = 0; type < 256; ++type) {
        if (type != SystemMessage::SM_STATE && type != SystemMessage::SM_KSL) {
            route(SystemMessage(static_cast<unsigned char>(type), "1-config"));
        }
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_.logLines(), IsEmpty());
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(Routing, AnswersATriggerThatWasSet) {
    route(event(3));
    EXPECT_THAT(calls(), ElementsAre("sendSetTrigger marker"));
    EXPECT_THAT(routed(), ElementsAre("[DEBUG] KLV::handleMessages() trigger was set, so update "
                                      "trigger list and current index"));
}

TEST_F(Routing, AsksForTheTriggersWhenTheirCountWasReset) {
    routeForwarded(event(8));
    EXPECT_THAT(calls(), ElementsAre("getTrigger 0"));
    EXPECT_THAT(routed(), ElementsAre("[DEBUG] KLV::handleMessages() data with trigger count was "
                                      "reseted, so update trigger list"));
}

TEST_F(Routing, IgnoresAllOtherEvents) {
    for (unsigned int id = 0; id < 256; ++id) {
        if (id != 3 && id != 8) {
            route(event(static_cast<std::uint8_t>(id)));
        }
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_.logLines(), IsEmpty());
}

TEST_F(Routing, ForgetsWhatWasWaitedForWhenTheBusServerIsBack) {
    thread_->handleReconnect();
    EXPECT_THAT(calls(), ElementsAre("first reconnected", "second reconnected", "third reconnected",
                                     "fourth reconnected"));
}

TEST_F(Routing, TellsFurtherModulesLastThatTheBusServerIsBack) {
    moduleTable = &RecordingModules::tableWithFurther;
    thread_->handleReconnect();
    ASSERT_EQ(calls().size(), 5U);
    EXPECT_EQ(calls().back(), "further reconnected");
}

TEST_F(RoutingThread, ReadsTheBus) {
    BusLogger logger(kLocal, {}, nats_.port());
    BusLogger other(kOther, {}, nats_.port());
    // The first one of this name: another one's notice could be taken for its own.
    make();
    ASSERT_TRUE(logger.waitForReceived("KRPBusServer from " + thread_->getBusName()));
    ASSERT_EQ(thread_->start_thread(), 0);
    other.client().sendTo("HandheldServer", "ksl://0/" + kLocal + "/" + thread_->getBusName(),
                          std::make_unique<SimpleMessageResponse<87>>());
    // What different senders have sent has no order but this.
    ASSERT_TRUE(RecordingModules::waitForCalls(6));
    logger.client().sendTo("HandheldServer", thread_->getBusName(),
                           std::make_unique<SimpleMessageResponse<87>>());
    logger.client().sendToAll("HandheldServer", state("1-config").clone());
    EXPECT_TRUE(session_.host.waitForFrames(1));
    thread_->stop_thread();
    EXPECT_THAT(session_.sent(), ElementsAre("close 1001"));
    EXPECT_THAT(calls(), ElementsAre("busload RouterMessage " + kOther, "monitor answer87",
                                     "signal answer87 " + kOther, "common answer87 " + kOther,
                                     "audio answer87", "trigger answer87 " + kOther,
                                     "busload answer87 " + kLocal, "monitor answer87",
                                     "signal answer87 " + kLocal, "common answer87 " + kLocal,
                                     "audio answer87", "trigger answer87 " + kLocal));
}
