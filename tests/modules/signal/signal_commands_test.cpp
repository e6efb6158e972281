#include "tests/modules/signal/signal_commands_fixture.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using SignalCommandsTest = SignalCommandsFixture;

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
    signalInfo->configState = KSL_MSG_STATE_COMPLETE;
    const std::string command = R"({"command": "generic_stop_sig", "signal_key": ["Speed", )";
    EXPECT_EQ(run(command + R"("02:00:00:00:00:ab"]})"), 2);
    EXPECT_EQ(run(command + R"("02:00:00:00:00:AB"]})"), 1);
}

TEST_F(SignalCommandsTest, FindsNamesWithQuotesLineBreaksAndOtherLetters) {
    const std::string name = "\"\xC3\x96l\"\n\\ \xF0\x9F\x9A\x97";
    signalInfo->updateSignalConfiguration(speedConfig(name), kLocalLogger);
    signalInfo->configState = KSL_MSG_STATE_COMPLETE;
    EXPECT_EQ(run("{\"command\": \"generic_start_sig\", \"interval\": 1, \"signal_key\": "
                  "\"\\\"\xC3\x96l\\\"\\n\\\\ \\ud83d\\ude97\"}"),
              1);
    EXPECT_TRUE(isActive({name, kLocalLogger}));
    const Document doc = network.session.host.json(1);
    EXPECT_EQ(doc["signal_key"][0].GetString(), name);
}

TEST_F(SignalCommandsTest, StartsAndStopsASignalByTheNameThatIsShownForIllFormedBytes) {
    const SignalKey oil("\xD6l", kLocalLogger);
    signalInfo->updateSignalConfiguration(speedConfig(oil.first), kLocalLogger);
    signalInfo->configState = KSL_MSG_STATE_COMPLETE;
    signalInfo->forwardingActive = true;
    const std::string shown = R"("signal_key": ["\uFFFDl", "02:00:00:00:00:01"])";
    const std::string answered =
        "\"signal_key\": [\"\xEF\xBF\xBDl\",\"02:00:00:00:00:01\"],\"interval\": -1,";

    EXPECT_EQ(run(R"({"command": "generic_start_sig", "interval": 1, )" + shown + "}"), 1);
    EXPECT_TRUE(isActive(oil));
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", )" + shown + "}"), 1);
    EXPECT_FALSE(isActive(oil));
    EXPECT_THAT(
        answers(),
        ElementsAre(R"({"response": "generic_start_sig",)" + answered + R"("status": "OK"})",
                    R"({"response": "generic_sig_value",)" + answered +
                        R"("status": "ERROR","error_code": "no_value"})",
                    R"({"response": "generic_stop_sig",)" + answered + R"("status": "OK"})"));
}

TEST_F(SignalCommandsTest, ReadsANameBeyondAZeroByteInAllFormsOfTheKey) {
    const std::string name("Sp\0eed", 6);
    signalInfo->updateSignalConfiguration(speedConfig(name), kLocalLogger);
    signalInfo->configState = KSL_MSG_STATE_COMPLETE;
    for (const char* key :
         {R"("Sp\u0000eed")", R"(["Sp\u0000eed", ""])", R"({"name": "Sp\u0000eed"})"}) {
        clearAnswers();
        EXPECT_EQ(run(std::string(R"({"command": "generic_stop_sig", "signal_key": )") + key + "}"),
                  1)
            << key;
        EXPECT_THAT(answers(), ElementsAre(R"({"response": "generic_stop_sig","signal_key": )"
                                           R"(["Sp\u0000eed","02:00:00:00:00:01"],"interval": -1,)"
                                           R"("status": "ERROR","error_code": "not_running"})"))
            << key;
    }
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
    signalInfo->beginCycle(1);
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed"})"), 1);
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
    const auto answerTo = [this](const std::string& interval) {
        clearAnswers();
        EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed", "interval": )" +
                      interval + "}"),
                  2)
            << interval;
        return answers();
    };
    const auto refusal = [](const std::string& interval, const std::string& sent) {
        return R"({"response": "generic_start_sig","status": "ERROR",)"
               R"("error_code": "invalid_command","error_msg": )"
               R"("value of 'interval' must be a int32 .  You send a )" +
               sent +
               R"( . ({\n    \"command\": \"generic_start_sig\",\n    )"
               R"(\"signal_key\": \"Speed\",\n    \"interval\": )" +
               interval + R"x(\n})"})x";
    };
    EXPECT_THAT(answerTo("2.5"), ElementsAre(refusal("2.5", "Number. IsUint32: 0. IsDouble: 1")));
    EXPECT_THAT(answerTo("4294967295"),
                ElementsAre(refusal("4294967295", "Number. IsUint32: 1. IsDouble: 0")));
    EXPECT_THAT(answerTo("\"1\""), ElementsAre(refusal(R"(\"1\")", "String.")));
    EXPECT_THAT(answerTo("null"), ElementsAre(refusal("null", "Null.")));
    EXPECT_FALSE(isActive());
}

TEST_F(SignalCommandsTest, StartsWithoutAnIntervalAfterSayingThatItIsMissing) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_start_sig", "signal_key": "Speed"})"), 1);
    EXPECT_THAT(answers(),
                ElementsAre(R"({"response": "generic_start_sig","status": "ERROR",)"
                            R"("error_code": "invalid_command","error_msg": )"
                            R"("no \"interval\". ({\n    \"command\": \"generic_start_sig\",)"
                            R"x(\n    \"signal_key\": \"Speed\"\n})"})x",
                            kForwardingStarted, kStarted, kNoValue));
    EXPECT_TRUE(isActive());
}

TEST_F(SignalCommandsTest, DoesNotCheckTheIntervalOfAStop) {
    completeCatalogue();
    EXPECT_EQ(run(R"({"command": "generic_stop_sig", "signal_key": "Speed", "interval": "x"})"), 1);
    EXPECT_THAT(answers(), ElementsAre(failed("generic_stop_sig", "not_running")));
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
