#include "modules/signal/signal_commands.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "modules/signal/signal_catalogue.h"
#include "modules/signal/signal_responses.h"
#include "tests/modules/signal/signal_network.h"
#include "tests/support/log_capture.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

const SignalKey kSpeed("Speed", kLocalLogger);

class SignalCommandsTest : public testing::Test {
  protected:
    // Runs the command in this request.
    int run(const std::string& request) {
        Document doc;
        doc.Parse(request.c_str());
        return wa_handle_message_signal(doc["command"].GetString(), doc);
    }
    // The loggers' signals are known: "Speed" on the local logger.
    void completeCatalogue() {
        signalInfo->updateSignalConfiguration(speedConfig(), kLocalLogger);
        signalInfo->configState = SIGNAL_CONFIG_COMPLETE;
    }
    bool isActive(const SignalKey& key = kSpeed) { return signalInfo->getSignalData(key).active; }
    // What the browser was sent, each answer in one line; the members' order is kept.
    std::vector<std::string> answers() {
        std::vector<std::string> lines;
        for (const std::string& text : network.session.host.texts()) {
            std::string line;
            bool atStart = false;
            for (const char c : text) {
                atStart = c == '\n' || (atStart && c == ' ');
                if (!atStart) {
                    line += c;
                }
            }
            lines.push_back(line);
        }
        return lines;
    }
    void clearAnswers() { network.session.host.clearFrames(); }

    LogCapture log;
    SignalNetwork network;
};

constexpr const char* kForwardingStarted =
    R"({"response": "signal_forwarding_start","status": "OK"})";
constexpr const char* kForwardingStopped =
    R"({"response": "signal_forwarding_stop","status": "OK"})";
const std::string kKeyAndInterval =
    R"("signal_key": ["Speed","02:00:00:00:00:01"],"interval": -1,)";
const std::string kStarted =
    R"({"response": "generic_start_sig",)" + kKeyAndInterval + R"("status": "OK"})";
const std::string kNoValue = R"({"response": "generic_sig_value",)" + kKeyAndInterval +
                             R"("status": "ERROR","error_code": "no_value"})";
const std::string kStopped =
    R"({"response": "generic_stop_sig",)" + kKeyAndInterval + R"("status": "OK"})";

std::string failed(const std::string& cmd, const std::string& code) {
    return R"({"response": ")" + cmd + R"(",)" + kKeyAndInterval +
           R"("status": "ERROR","error_code": ")" + code + R"("})";
}

TEST_F(SignalCommandsTest, LeavesOtherCommandsToOtherModules) {
    EXPECT_EQ(run(R"({"command": "busload_start"})"), 0);
    EXPECT_EQ(run(R"({"command": "generic"})"), 0);
    EXPECT_EQ(run(R"({"command": "Generic_start_sig"})"), 0);
    EXPECT_EQ(run(R"({"command": "get_signal_names2"})"), 0);
    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_TRUE(network.isQuiet());
}

TEST_F(SignalCommandsTest, SetsUpWithoutDoingAnything) {
    EXPECT_EQ(signal_module_setup(nullptr), 0);
    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_TRUE(network.isQuiet());
}

TEST_F(SignalCommandsTest, StopsForwardingWhenTheModuleEnds) {
    completeCatalogue();
    signalInfo->forwardingActive = true;
    EXPECT_EQ(signal_module_destroy(), 0);
    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 78-LVStopSignals");
    EXPECT_FALSE(signalInfo->forwardingActive);
    EXPECT_FALSE(signalInfo->checkSignal(kSpeed));
}

TEST_F(SignalCommandsTest, AsksAllLoggersForTheirSignals) {
    EXPECT_EQ(run(R"({"command": "get_signal_names"})"), 1);

    EXPECT_EQ(signalInfo->configState, 1U);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtForwarder(), "all: request 137");
    EXPECT_TRUE(network.isQuiet());
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(SignalCommandsTest, DoesNotWaitForTheLoggersSignals) {
    const auto start = Clock::now();
    getSignalNames(20);
    EXPECT_LT(Clock::now() - start, 1s);
}

TEST_F(SignalCommandsTest, AsksOnceWhileACycleIsUnderWay) {
    getSignalNames(20);
    signalInfo->updateSignalConfiguration(speedConfig(), kLocalLogger);
    getSignalNames(20);

    EXPECT_TRUE(signalInfo->getSignalData(kSpeed).valid);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtForwarder(), "all: request 137");
    EXPECT_TRUE(network.isQuiet());
}

TEST_F(SignalCommandsTest, BeginsAnotherCycleWhenTheCatalogueIsComplete) {
    completeCatalogue();
    getSignalNames(20);
    EXPECT_EQ(signalInfo->configState, 1U);
    EXPECT_TRUE(signalInfo->checkSignal(kSpeed));
    EXPECT_FALSE(signalInfo->getSignalData(kSpeed).valid);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
}

TEST_F(SignalCommandsTest, AsksForTheNeighboursFirst) {
    kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
    getSignalNames(1);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 88");
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
}

TEST_F(SignalCommandsTest, AsksOneLoggerAndChangesNoState) {
    getSignalNames(std::string(kOtherLogger));
    EXPECT_EQ(network.nextAtForwarder(), "02:00:00:00:00:02: request 137");
    getSignalNames(std::string(kLocalLogger));
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_TRUE(network.isQuiet());
    EXPECT_EQ(signalInfo->configState, 0U);
}

TEST_F(SignalCommandsTest, AsksABusyLoggerAgainAfterATenthOfASecond) {
    KRPResponseGetLVSignalConfig busy;
    busy.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Busy);
    for (int i = 0; i < 3; ++i) {
        const auto start = Clock::now();
        EXPECT_EQ(handleSignalMessages(&busy, kOtherLogger), 1);
        EXPECT_GE(Clock::now() - start, 100ms);
        EXPECT_EQ(network.nextAtForwarder(), "02:00:00:00:00:02: request 137");
    }
    EXPECT_TRUE(network.isQuiet());
    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_EQ(signalInfo->configState, 0U);
}

TEST_F(SignalCommandsTest, SwitchesForwardingOnAtAllLoggers) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "signal_forwarding_start"})"), 1);

    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 77-LVStartSignals");
    EXPECT_EQ(network.nextAtForwarder(), "all: type 4: 77-LVStartSignals");
    EXPECT_TRUE(network.isQuiet());
    EXPECT_TRUE(signalInfo->forwardingActive);
    EXPECT_THAT(answers(), ElementsAre(kForwardingStarted));
}

TEST_F(SignalCommandsTest, AsksForTheSignalsBeforeForwardingWhenNobodyHas) {
    run(R"({"command": "signal_forwarding_start"})");
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 77-LVStartSignals");
    EXPECT_EQ(signalInfo->configState, 1U);
}

TEST_F(SignalCommandsTest, SwitchesForwardingOffAndEmptiesTheCatalogueButKeepsItsState) {
    completeCatalogue();
    signalInfo->forwardingActive = true;
    EXPECT_EQ(run(R"({"command": "signal_forwarding_stop"})"), 1);

    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 78-LVStopSignals");
    EXPECT_EQ(network.nextAtForwarder(), "all: type 4: 78-LVStopSignals");
    EXPECT_TRUE(network.isQuiet());
    EXPECT_FALSE(signalInfo->forwardingActive);
    EXPECT_FALSE(signalInfo->checkSignal(kSpeed));
    EXPECT_EQ(signalInfo->configState, 2U);
    EXPECT_THAT(answers(), ElementsAre(kForwardingStopped));
    EXPECT_THAT(log.logLines("signal_forwarding_stop"),
                ElementsAre("[DEBUG] KLV::signal_forwarding_stop() stopping signal module",
                            "[DEBUG] KLV::signal_forwarding_stop() stop ksl signal module",
                            "[DEBUG] KLV::signal_forwarding_stop() stop local signal module"));
}

TEST_F(SignalCommandsTest, StartsASignalAfterAFreshStartWithTwoAnswersAndTheForwarding) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 100})"),
              1);

    EXPECT_THAT(answers(), ElementsAre(kForwardingStarted, kStarted, kNoValue));
    EXPECT_TRUE(isActive());
    EXPECT_EQ(signalInfo->getSignalData(kSpeed).interval, 0U);
    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 77-LVStartSignals");
    EXPECT_TRUE(signalInfo->forwardingActive);
}

TEST_F(SignalCommandsTest, StartsAnActiveSignalAgainWithoutAValue) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    clearAnswers();
    start_signal(kSpeed, -1);

    EXPECT_THAT(answers(), ElementsAre(kStarted));
    EXPECT_THAT(log.logLines("start_signal"),
                ElementsAre("[INFO] KLV::start_signal() Signal is already active:  key      | "
                            "[name=Speed] [MAC=02:00:00:00:00:01]"));
}

TEST_F(SignalCommandsTest, RefusesASignalThatDoesNotExist) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Unknown", "interval": 1})"),
              2);

    EXPECT_THAT(answers(), ElementsAre(R"({"response": "generic_start_sig","signal_key": )"
                                       R"(["Unknown","02:00:00:00:00:01"],"interval": -1,)"
                                       R"("status": "ERROR","error_code": "illegal_key"})"));
    EXPECT_THAT(log.logLines("checkSignal"),
                ElementsAre("[ERROR] KLV::checkSignal() Signal Unknown does not exist"));
    EXPECT_TRUE(network.isQuiet());
    EXPECT_FALSE(signalInfo->forwardingActive);
}

TEST_F(SignalCommandsTest, NamesTheCommandInTheRefusal) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_odd", "signal_key": ["Speed", "nowhere"]})"), 2);
    EXPECT_THAT(answers(), ElementsAre(R"({"response": "generic_odd","signal_key": )"
                                       R"(["Speed","nowhere"],"interval": -1,)"
                                       R"("status": "ERROR","error_code": "illegal_key"})"));
}

TEST_F(SignalCommandsTest, ReportsASignalThatGoesBetweenTheCheckAndTheStart) {
    signalInfo->configState = SIGNAL_CONFIG_COMPLETE;
    start_signal(kSpeed, -1);
    EXPECT_THAT(answers(),
                ElementsAre(kForwardingStarted, failed("generic_start_sig", "illegal_key")));
    EXPECT_THAT(
        log.logLines("start_signal"),
        ElementsAre("[ERROR] KLV::start_signal() Invalid config. Signal data transfer could "
                    "not be started."));
}

TEST_F(SignalCommandsTest, SaysThatNotAllLoggersHaveAnsweredAndStartsAllTheSame) {
    signalInfo->beginCycle();
    signalInfo->updateSignalConfiguration(speedConfig(), kLocalLogger);
    const auto start = Clock::now();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})"), 1);

    EXPECT_GE(Clock::now() - start, 2s);
    EXPECT_THAT(answers(),
                ElementsAre(R"({"response": "generic_start","status": "ERROR","error_code": )"
                            R"("cannot_start","error_msg": "not all signal configs received"})",
                            kForwardingStarted, kStarted, kNoValue));
    EXPECT_THAT(log.logLines("start_signal"),
                ElementsAre("[ERROR] KLV::start_signal() not all signal configs received"));
    EXPECT_TRUE(isActive());
}

TEST_F(SignalCommandsTest, AsksForTheSignalsWhenTheFirstCommandIsAStart) {
    run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})");

    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtLocalLogger(), "type 4: 77-LVStartSignals");
    EXPECT_THAT(answers(), Contains(failed("generic_start_sig", "illegal_key")));
}

TEST_F(SignalCommandsTest, GoesOnAsSoonAsTheLoggersHaveAnswered) {
    signalInfo->beginCycle();
    std::thread loggers([] {
        std::this_thread::sleep_for(200ms);
        const KRPResponseGetLVSignalConfig answer(std::vector{speedConfig()});
        handleSignalMessages(&answer, kLocalLogger);
    });
    run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})");
    loggers.join();

    ASSERT_EQ(answers().size(), 4U);
    EXPECT_THAT(answers(), Contains(kStarted));
    EXPECT_THAT(answers(), Not(Contains(testing::HasSubstr("generic_start\""))));
}

TEST_F(SignalCommandsTest, StopsASignalOnce) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    clearAnswers();
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);

    EXPECT_THAT(answers(), ElementsAre(kStopped, failed("generic_stop_sig", "not_running")));
    EXPECT_THAT(log.logLines("stop_signal"),
                ElementsAre("[ERROR] KLV::stop_signal() signal is not configured or not active"));
    EXPECT_FALSE(isActive());
    EXPECT_TRUE(signalInfo->forwardingActive);
}

TEST_F(SignalCommandsTest, CannotStopASignalThatIsNotThere) {
    stop_signal(kSpeed);
    EXPECT_THAT(answers(), ElementsAre(failed("generic_stop_sig", "illegal_config")));
    EXPECT_THAT(log.logLines("stop_signal"),
                ElementsAre("[ERROR] KLV::stop_signal() signal is not configured or not active"));
}

TEST_F(SignalCommandsTest, RefusesAStartAfterForwardingWasStoppedUntilTheSignalsAreAskedFor) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    signal_forwarding_stop();
    clearAnswers();

    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})"), 2);
    EXPECT_THAT(answers(), ElementsAre(failed("generic_start_sig", "illegal_key")));

    run(R"({"command": "get_signal_names"})");
    const KRPResponseGetLVSignalConfig answer(std::vector{speedConfig()});
    handleSignalMessages(&answer, kLocalLogger);
    clearAnswers();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": 1})"), 1);
    EXPECT_THAT(answers(), ElementsAre(kForwardingStarted, kStarted, kNoValue));
}

TEST_F(SignalCommandsTest, ForgetsWhatWasStartedWhenTheSignalsAreAskedForAgain) {
    completeCatalogue();
    start_signal(kSpeed, -1);
    run(R"({"command": "get_signal_names"})");
    const KRPResponseGetLVSignalConfig answer(std::vector{speedConfig()});
    handleSignalMessages(&answer, kLocalLogger);
    clearAnswers();

    const SignalMessage value = speedValue();
    handleSignalMessages(&value, kLocalLogger);
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(SignalCommandsTest, ReadsTheKeyInAllItsForms) {
    completeCatalogue();
    for (const char* key :
         {R"("Speed")", R"(["Speed", "02:00:00:00:00:01"])", R"(["Speed", ""])",
          R"({"name": "Speed", "mac": "02:00:00:00:00:01"})", R"({"name": "Speed", "mac": ""})",
          R"({"name": "Speed"})", R"({"name": "Speed", "mac": 5})"}) {
        clearAnswers();
        EXPECT_EQ(run(std::string(R"({"command": "generic_stop_sig", "signal_key": )") + key + "}"),
                  1)
            << key;
        EXPECT_THAT(answers(), ElementsAre(failed("generic_stop_sig", "not_running"))) << key;
    }
}

TEST_F(SignalCommandsTest, TakesAMissingNameForTheEmptyName) {
    completeCatalogue();
    for (const char* key : {R"({})", R"({"mac": ""})", R"("")", R"(["", ""])", R"({"name": 1})"}) {
        clearAnswers();
        EXPECT_EQ(run(std::string(R"({"command": "generic_stop_sig", "signal_key": )") + key + "}"),
                  2)
            << key;
        EXPECT_THAT(answers(), ElementsAre(R"({"response": "generic_stop_sig","signal_key": )"
                                           R"(["","02:00:00:00:00:01"],"interval": -1,)"
                                           R"("status": "ERROR","error_code": "illegal_key"})"))
            << key;
    }
}

TEST_F(SignalCommandsTest, TellsALowerCaseLoggerApart) {
    signalInfo->updateSignalConfiguration(speedConfig(), "02:00:00:00:00:AB");
    signalInfo->configState = SIGNAL_CONFIG_COMPLETE;
    const std::string command = R"({"command": "generic_stop_sig", "signal_key": ["Speed", )";
    EXPECT_EQ(run(command + R"("02:00:00:00:00:ab"]})"), 2);
    EXPECT_EQ(run(command + R"("02:00:00:00:00:AB"]})"), 1);
}

TEST_F(SignalCommandsTest, FindsNamesWithQuotesLineBreaksAndOtherLetters) {
    const std::string name = "\"\xC3\x96l\"\n\\ \xF0\x9F\x9A\x97";
    signalInfo->updateSignalConfiguration(speedConfig(name), kLocalLogger);
    signalInfo->configState = SIGNAL_CONFIG_COMPLETE;
    EXPECT_EQ(run("{\"command\": \"generic_start_sig\", \"interval\": 1, \"signal_key\": "
                  "\"\\\"\xC3\x96l\\\"\\n\\\\ \\ud83d\\ude97\"}"),
              1);
    EXPECT_TRUE(isActive({name, kLocalLogger}));
    const Document doc = network.session.host.json(1);
    EXPECT_EQ(doc["signal_key"][0].GetString(), name);
}

TEST_F(SignalCommandsTest, LogsAKeyOfAnotherTypeAndAnswersNothing) {
    completeCatalogue();
    for (const char* key : {"5", "null", "true", "[]", R"(["Speed"])", R"(["Speed", 1])",
                            R"([1, "02:00:00:00:00:01"])", R"(["Speed", "", ""])"}) {
        log.clear();
        EXPECT_EQ(run(std::string(R"({"command": "generic_stop_sig", "signal_key": )") + key + "}"),
                  2)
            << key;
        EXPECT_THAT(log.logLines("wa_handle_message_signal"),
                    ElementsAre("[ERROR] KLV::wa_handle_message_signal() signal_key is not valid"))
            << key;
    }
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(SignalCommandsTest, AnswersARequestWithoutAKey) {
    EXPECT_EQ(run(R"({"command": "generic_anything"})"), 2);
    EXPECT_THAT(answers(),
                ElementsAre(R"({"response": "generic_anything","status": "ERROR","error_code": )"
                            R"("invalid_command","error_msg": "no entry for signal_key"})"));
    EXPECT_THAT(log.logLines("wa_handle_message_signal"),
                ElementsAre("[ERROR] KLV::wa_handle_message_signal() parsing error: no entry for "
                            "signal_key"));
    EXPECT_EQ(signalInfo->configState, 0U);
}

TEST_F(SignalCommandsTest, SkipsTheCheckOfTheKeyWhileLoggersAreToAnswer) {
    signalInfo->beginCycle();
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);
    EXPECT_THAT(answers(), ElementsAre(failed("generic_stop_sig", "illegal_config")));
}

TEST_F(SignalCommandsTest, AsksForTheSignalsOnAnyCommandWithAKey) {
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_THAT(answers(), ElementsAre(failed("generic_stop_sig", "illegal_config")));
}

TEST_F(SignalCommandsTest, RefusesAnUnknownCommandWithAValidKey) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_odd", "signal_key": "Speed"})"), 2);
    EXPECT_THAT(answers(), ElementsAre(R"({"response": "generic_odd","status": "ERROR",)"
                                       R"("error_code": "invalid_command"})"));
}

TEST_F(SignalCommandsTest, RefusesAnIntervalThatIsNoInteger) {
    completeCatalogue();
    for (const char* interval : {"2.5", "\"1\"", "4294967295", "null"}) {
        clearAnswers();
        EXPECT_EQ(run(std::string(R"({"command": "generic_start_sig", "signal_key": "Speed", )"
                                  R"("interval": )") +
                      interval + "}"),
                  2)
            << interval;
        ASSERT_EQ(answers().size(), 1U);
        EXPECT_THAT(answers()[0], testing::HasSubstr("value of 'interval' must be a int32"));
    }
    EXPECT_FALSE(isActive());
}

TEST_F(SignalCommandsTest, StartsWithoutAnIntervalAfterSayingThatItIsMissing) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed"})"), 1);
    ASSERT_EQ(answers().size(), 4U);
    EXPECT_THAT(answers()[0], testing::HasSubstr(R"(no \"interval\". ()"));
    EXPECT_EQ(answers()[2], kStarted);
    EXPECT_TRUE(isActive());
}

TEST_F(SignalCommandsTest, DoesNotCheckTheIntervalOfAStop) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed", "interval": "x"})"), 1);
    EXPECT_THAT(answers(), ElementsAre(failed("generic_stop_sig", "not_running")));
}

TEST_F(SignalCommandsTest, SendsAValueAfterTheAnswerToItsStart) {
    completeCatalogue();
    std::atomic<bool> stop{false};
    std::thread bus([&] {
        while (!stop) {
            const SignalMessage value = speedValue();
            handleSignalMessages(&value, kLocalLogger);
        }
    });
    start_signal(kSpeed, -1);
    const bool arrived = network.session.host.waitForFrames(4);
    stop = true;
    bus.join();

    ASSERT_TRUE(arrived);
    EXPECT_EQ(answers()[1], kStarted);
    EXPECT_EQ(answers()[2], kNoValue);
}

TEST_F(SignalCommandsTest, AsksAnewAfterTheBusWasAway) {
    getSignalNames(20);
    signalBusReconnected();
    EXPECT_EQ(signalInfo->configState, 0U);
    getSignalNames(20);
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");
    EXPECT_EQ(network.nextAtLocalLogger(), "request 137");

    completeCatalogue();
    signalBusReconnected();
    EXPECT_EQ(signalInfo->configState, 2U);
}

TEST_F(SignalCommandsTest, AnswersEveryCommandWithoutABusAndWithoutANetworkRecord) {
    network.session.setup.krpbus = nullptr;
    KslInfo* const record = kslInfo;
    kslInfo = nullptr;
    EXPECT_EQ(run(R"({"command": "get_signal_names"})"), 1);
    EXPECT_EQ(run(R"({"command": "signal_forwarding_start"})"), 1);
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);
    EXPECT_EQ(run(R"({"command": "signal_forwarding_stop"})"), 1);
    kslInfo = record;

    EXPECT_THAT(answers(),
                ElementsAre(kForwardingStarted, failed("generic_stop_sig", "illegal_config"),
                            kForwardingStopped));
}

}  // namespace
