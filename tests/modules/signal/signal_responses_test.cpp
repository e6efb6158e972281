#include "modules/signal/signal_responses.h"

#include <gmock/gmock.h>

#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "modules/signal/signal_catalogue.h"
#include "modules/signal/signal_module.h"
#include "tests/kit/log_capture.h"
#include "tests/modules/signal/signal_samples.h"
#include "tests/modules/signal/signal_session.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kName = "WaResponseGetSignalNames";

class SignalResponsesTest : public testing::Test {
  protected:
    // Takes the answer of a logger that offers these signals.
    int answer(const std::vector<KRPResponseGetLVSignalConfig::signalConfig_t>& configs,
               const std::string& logger = kLocalLogger) {
        const KRPResponseGetLVSignalConfig message(configs);
        return handleSignalMessages(&message, logger);
    }
    int value(const SignalMessage& message, const std::string& logger = kLocalLogger) {
        return handleSignalMessages(&message, logger);
    }
    void start(const SignalKey& key) {
        signalInfo->withSignal(key, [](SignalData* signal) { signal->active = true; });
    }
    void nameLogger(const std::string& mac, const std::string& name) {
        const String2MessageResponse<82> response("configuration", name);
        kslInfo->addConfigMessage(&response, mac);
    }
    std::vector<std::string> texts() { return session.host.texts(); }
    // The names under "Streams" of the given answer.
    std::vector<std::string> streamNames(std::size_t index) {
        std::vector<std::string> names;
        const Document doc = session.host.json(index);
        for (const Value& entry : doc["Streams"].GetArray()) {
            names.emplace_back(entry["signal_key"][0].GetString());
        }
        return names;
    }

    LogCapture log;
    SignalSession session;
};

TEST_F(SignalResponsesTest, LeavesWhatIsNotItsOwnToOthers) {
    EXPECT_EQ(handleSignalMessages(nullptr, kLocalLogger), 0);
    const RouterMessage empty("ksl://0/02:00:00:00:00:02/x", "y", nullptr);
    EXPECT_EQ(handleSignalMessages(&empty, kLocalLogger), 0);
    const SystemMessage system(SystemMessage::SM_STATE, "1-config");
    EXPECT_EQ(handleSignalMessages(&system, kLocalLogger), 0);
    const Simple1MessageResponse<23, unsigned char> status(1);
    EXPECT_EQ(handleSignalMessages(&status, kLocalLogger), 0);
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(SignalResponsesTest, UnwrapsAForwardedMessage) {
    const RouterMessage message("ksl://0/02:00:00:00:00:02/HandheldServer", "17_KLV1",
                                KRPResponseGetLVSignalConfig(std::vector{speedConfig()}).clone());
    EXPECT_EQ(handleSignalMessages(&message, kOtherLogger), 1);
    EXPECT_TRUE(signalInfo->checkSignal({"Speed", kOtherLogger}));

    start({"Speed", kOtherLogger});
    const RouterMessage wrapped("ksl://0/02:00:00:00:00:02/HandheldServer", "17_KLV1",
                                speedValue().clone());
    EXPECT_EQ(handleSignalMessages(&wrapped, kOtherLogger), 1);
    EXPECT_EQ(texts().size(), 2U);
}

TEST_F(SignalResponsesTest, SendsTheCatalogueOfALoneLogger) {
    signalInfo->beginCycle(1);
    const KRPResponseGetLVSignalConfig message(std::vector{speedConfig()});

    EXPECT_EQ(handleSignalMessages(&message, kLocalLogger), 1);

    EXPECT_EQ(signalInfo->configState, 2U);
    EXPECT_THAT(
        log.logLines(kName),
        ElementsAre("[INFO] KLV::WaResponseGetSignalNames() KRPResponseGetLVSignalConfig: " +
                    message.toString()));
    EXPECT_THAT(texts(), ElementsAre("{\n"
                                     "    \"response\": \"get_signal_names\",\n"
                                     "    \"Streams\": [\n"
                                     "        {\n"
                                     "            \"logger_name\": \"\",\n"
                                     "            \"bus_id\": \"BUSID_CAN\",\n"
                                     "            \"channel\": 3,\n"
                                     "            \"ksl_offset\": 0,\n"
                                     "            \"userDefinedName\": \"my Speed\",\n"
                                     "            \"unit\": \"km/h\",\n"
                                     "            \"signal_key\": [\n"
                                     "                \"Speed\",\n"
                                     "                \"02:00:00:00:00:01\"\n"
                                     "            ]\n"
                                     "        }\n"
                                     "    ],\n"
                                     "    \"status\": \"OK\"\n"
                                     "}"));
}

TEST_F(SignalResponsesTest, SendsAnEmptyCatalogue) {
    signalInfo->beginCycle(1);
    answer({});
    EXPECT_THAT(texts(), ElementsAre("{\n"
                                     "    \"response\": \"get_signal_names\",\n"
                                     "    \"Streams\": [],\n"
                                     "    \"status\": \"OK\"\n"
                                     "}"));
}

TEST_F(SignalResponsesTest, SendsTheCatalogueAfterEachOfThreeLoggersAndCompletesWithTheThird) {
    kslInfo->setNeighbours({kOtherLogger, kThirdLogger});
    nameLogger(kLocalLogger, "Front");
    nameLogger(kOtherLogger, "Rear");
    nameLogger(kThirdLogger, "Roof");
    signalInfo->updateSignalConfiguration(speedConfig("Old"), kThirdLogger);
    signalInfo->beginCycle(1);

    auto config = speedConfig("B");
    config.kslOffset = 8;
    config.busId = static_cast<busid_t>(15);
    answer({config}, kOtherLogger);
    EXPECT_EQ(signalInfo->configState, 1U);
    answer({speedConfig("C"), speedConfig("A")}, kLocalLogger);
    EXPECT_EQ(signalInfo->configState, 1U);
    answer({speedConfig("A")}, kThirdLogger);
    EXPECT_EQ(signalInfo->configState, 2U);

    ASSERT_EQ(texts().size(), 3U);
    EXPECT_THAT(streamNames(0), ElementsAre("B"));
    EXPECT_THAT(streamNames(1), ElementsAre("A", "B", "C"));
    EXPECT_THAT(streamNames(2), ElementsAre("A", "A", "B", "C"));
    EXPECT_STREQ(session.host.json(0)["status"].GetString(), "PROGRESS");
    EXPECT_STREQ(session.host.json(1)["status"].GetString(), "PROGRESS");
    EXPECT_STREQ(session.host.json(2)["status"].GetString(), "OK");

    const Document doc = session.host.json(2);
    const auto& streams = doc["Streams"];
    EXPECT_STREQ(streams[0]["logger_name"].GetString(), "Front");
    EXPECT_STREQ(streams[1]["logger_name"].GetString(), "Roof");
    EXPECT_STREQ(streams[2]["logger_name"].GetString(), "Rear");
    EXPECT_STREQ(streams[2]["bus_id"].GetString(), "BUSID_UNKNOWN");
    EXPECT_EQ(streams[2]["channel"].GetInt(), 10);
    EXPECT_EQ(streams[2]["ksl_offset"].GetInt(), 8);
    EXPECT_THAT(log.logLines(kName), Not(Contains(StartsWith("[ERROR] "))));
}

TEST_F(SignalResponsesTest, DoesNotCountALoggerThatAnswersTwice) {
    kslInfo->setNeighbours({kOtherLogger});
    signalInfo->beginCycle(1);
    answer({speedConfig()}, kOtherLogger);
    answer({speedConfig()}, kOtherLogger);
    EXPECT_EQ(signalInfo->configState, 1U);
    answer({speedConfig()}, kLocalLogger);
    EXPECT_EQ(signalInfo->configState, 2U);
}

TEST_F(SignalResponsesTest, ReportsALoggerWithoutANameWhenTheNetworkIsInUse) {
    kslInfo->setNeighbours({kOtherLogger});
    nameLogger(kLocalLogger, "Front");
    signalInfo->beginCycle(1);
    answer({speedConfig("A"), speedConfig("B")}, kOtherLogger);

    const Document doc = session.host.json(0);
    EXPECT_STREQ(doc["Streams"][0]["logger_name"].GetString(), "");
    EXPECT_THAT(log.logLines(kName),
                Contains("[ERROR] KLV::WaResponseGetSignalNames() incomplete logger info"));
}

TEST_F(SignalResponsesTest, TakesAnEmptyNameForTheNameOfItsLogger) {
    kslInfo->setNeighbours({kOtherLogger});
    nameLogger(kOtherLogger, "");
    signalInfo->beginCycle(1);
    answer({speedConfig()}, kOtherLogger);

    const Document doc = session.host.json(0);
    EXPECT_STREQ(doc["Streams"][0]["logger_name"].GetString(), "");
    EXPECT_THAT(log.logLines(), Not(Contains(testing::HasSubstr("incomplete"))));
}

TEST_F(SignalResponsesTest, LeavesTheNameEmptyOfALoggerThatStandsAlone) {
    kslInfo->setNeighbours({});
    nameLogger(kLocalLogger, "Front");
    signalInfo->beginCycle(1);
    answer({speedConfig()});

    const Document doc = session.host.json(0);
    EXPECT_STREQ(doc["Streams"][0]["logger_name"].GetString(), "");
    EXPECT_THAT(log.logLines(), Not(Contains(testing::HasSubstr("incomplete"))));
}

TEST_F(SignalResponsesTest, ReportsASignalWhoseConfigurationIsIncomplete) {
    signalInfo->beginCycle(1);
    auto config = speedConfig();
    config.instanceName = "";
    answer({config});
    EXPECT_THAT(log.logLines(kName),
                Contains("[ERROR] KLV::WaResponseGetSignalNames() incomplete signal info"));
    EXPECT_THAT(streamNames(0), ElementsAre("Speed"));
}

TEST_F(SignalResponsesTest, RefreshesALoggerThatAnswersOutsideACycle) {
    signalInfo->updateSignalConfiguration(speedConfig("Kept"), kOtherLogger);
    signalInfo->updateSignalConfiguration(speedConfig(), kLocalLogger);
    start({"Speed", kLocalLogger});

    auto config = speedConfig();
    config.unit = "mph";
    answer({config});

    EXPECT_EQ(signalInfo->configState, 0U);
    EXPECT_THAT(streamNames(0), ElementsAre("Kept", "Speed"));
    EXPECT_STREQ(session.host.json(0)["status"].GetString(), "PROGRESS");
    EXPECT_EQ(signalInfo->getSignalData({"Speed", kLocalLogger}).unit, "mph");
    EXPECT_TRUE(signalInfo->getSignalData({"Speed", kLocalLogger}).active);

    // And it has not been counted: a cycle that begins now waits for both.
    kslInfo->setNeighbours({kOtherLogger});
    signalInfo->beginCycle(1);
    answer({speedConfig()}, kOtherLogger);
    EXPECT_EQ(signalInfo->configState, 1U);
}

TEST_F(SignalResponsesTest, StaysCompleteWhenALoggerAnswersAfterTheCycle) {
    signalInfo->beginCycle(1);
    answer({speedConfig("A")});
    answer({speedConfig("B")}, kOtherLogger);
    EXPECT_EQ(signalInfo->configState, 2U);
    EXPECT_THAT(streamNames(1), ElementsAre("A", "B"));
    EXPECT_STREQ(session.host.json(1)["status"].GetString(), "OK");
}

TEST_F(SignalResponsesTest, CountsNoNeighboursWithoutANetworkRecord) {
    KslInfo* const record = kslInfo;
    kslInfo = nullptr;
    signalInfo->beginCycle(1);
    answer({speedConfig()});
    kslInfo = record;

    EXPECT_EQ(signalInfo->configState, 2U);
    EXPECT_EQ(texts().size(), 1U);
    EXPECT_THAT(log.logLines(kName),
                Contains("[ERROR] KLV::WaResponseGetSignalNames() no kslInfo"));
}

TEST_F(SignalResponsesTest, SaysWhyALoggerHasNotGivenItsSignals) {
    signalInfo->beginCycle(1);
    KRPResponseGetLVSignalConfig failed;
    failed.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Internal, "no configuration");
    EXPECT_EQ(handleSignalMessages(&failed, kLocalLogger), 1);

    EXPECT_THAT(texts(), ElementsAre("{\n"
                                     "    \"response\": \"get_signal_names\",\n"
                                     "    \"status\": \"ERROR\",\n"
                                     "    \"krp_status\": \"ERROR\",\n"
                                     "    \"error_code\": \"krpbus_error\",\n"
                                     "    \"krp_error_code\": \"KRPERROR_INTERNAL\",\n"
                                     "    \"krp_error_description\": \"no configuration\"\n"
                                     "}"));
    EXPECT_EQ(signalInfo->configState, 1U);
    EXPECT_THAT(log.logLines(kName),
                Contains("[DEBUG] KLV::WaResponseGetSignalNames() KRP bus is busy"));
}

TEST_F(SignalResponsesTest, ReportsAnErrorWithoutAnErrorCode) {
    KRPResponseGetLVSignalConfig failed;
    failed.status = KRPMessageResponse::KRPSTATUS_ERROR;
    handleSignalMessages(&failed, kLocalLogger);
    EXPECT_EQ(texts().size(), 1U);
}

TEST_F(SignalResponsesTest, ReportsALoggerThatIsNotAvailableOrInProgress) {
    KRPResponseGetLVSignalConfig failed;
    failed.setError(KRPMessageResponse::KRPSTATUS_NOTAVAILABLE, errorCode_t::Busy);
    handleSignalMessages(&failed, kLocalLogger);
    failed.setError(KRPMessageResponse::KRPSTATUS_PROGRESS, errorCode_t::Busy);
    handleSignalMessages(&failed, kLocalLogger);

    ASSERT_EQ(texts().size(), 2U);
    EXPECT_STREQ(session.host.json(0)["krp_status"].GetString(), "KRPSTATUS_NOTAVAILABLE");
    EXPECT_STREQ(session.host.json(1)["krp_status"].GetString(), "KRPSTATUS_PROGRESS");
}

TEST_F(SignalResponsesTest, SendsTheValueOfAStartedSignal) {
    answer({speedConfig()});
    start({"Speed", kLocalLogger});
    session.host.clearFrames();

    EXPECT_EQ(value(speedValue()), 1);

    EXPECT_THAT(texts(), ElementsAre("{\n"
                                     "    \"response\": \"generic_sig_value\",\n"
                                     "    \"signal_key\": [\n"
                                     "        \"Speed\",\n"
                                     "        \"02:00:00:00:00:01\"\n"
                                     "    ],\n"
                                     "    \"ksl_offset\": 0,\n"
                                     "    \"timestamp\": 1700000000000001,\n"
                                     "    \"value_description\": \"driving\",\n"
                                     "    \"value\": 12.5,\n"
                                     "    \"status\": \"OK\"\n"
                                     "}"));
}

TEST_F(SignalResponsesTest, TakesValuesOfOtherSignalsWithoutAWord) {
    answer({speedConfig()});
    session.host.clearFrames();
    EXPECT_EQ(value(speedValue()), 1);
    EXPECT_EQ(value(speedValue("1", "Unknown")), 1);
    EXPECT_EQ(value(speedValue("1", "")), 1);
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(SignalResponsesTest, TellsTheSameNameOnTwoLoggersApart) {
    answer({speedConfig()}, kLocalLogger);
    answer({speedConfig()}, kOtherLogger);
    start({"Speed", kOtherLogger});
    session.host.clearFrames();

    value(speedValue("1"), kLocalLogger);
    value(speedValue("2"), kOtherLogger);

    ASSERT_EQ(texts().size(), 1U);
    EXPECT_STREQ(session.host.json(0)["signal_key"][1].GetString(), kOtherLogger);
    EXPECT_EQ(session.host.json(0)["value"].GetInt(), 2);
}

TEST_F(SignalResponsesTest, RepeatsTheOldValueOfASignalThatHasBecomeInvalid) {
    answer({speedConfig()});
    start({"Speed", kLocalLogger});
    value(speedValue("1"));
    signalInfo->setSignalDataInvalid();
    session.host.clearFrames();

    value(speedValue("2"));

    ASSERT_EQ(texts().size(), 1U);
    EXPECT_EQ(session.host.json(0)["value"].GetInt(), 1);
}

TEST_F(SignalResponsesTest, SendsAHugeValueAndASmallOneAfterIt) {
    auto config = speedConfig();
    config.valueType = SIGNALVALUE_STRING;
    answer({config});
    start({"Speed", kLocalLogger});
    session.host.clearFrames();

    value(speedValue(std::string(1000000, 'x')));
    value(speedValue("small"));

    ASSERT_EQ(texts().size(), 2U);
    EXPECT_EQ(session.host.json(0)["value"].GetStringLength(), 1000000U);
    EXPECT_STREQ(session.host.json(1)["value"].GetString(), "small");
}

TEST_F(SignalResponsesTest, SendsTheLatestValueOnDemand) {
    answer({speedConfig()});
    session.host.clearFrames();
    { const WaResponseSignal notStarted(SignalKey("Speed", kLocalLogger)); }
    { const WaResponseSignal unknown(SignalKey("Unknown", kLocalLogger)); }
    EXPECT_THAT(texts(), IsEmpty());

    start({"Speed", kLocalLogger});
    { const WaResponseSignal started(SignalKey("Speed", kLocalLogger)); }
    ASSERT_EQ(texts().size(), 1U);
    EXPECT_STREQ(session.host.json(0)["response"].GetString(), "generic_sig_value");
    EXPECT_STREQ(session.host.json(0)["value"].GetString(), "NaN");
}

TEST_F(SignalResponsesTest, SurvivesAValueAfterItsSession) {
    answer({speedConfig()});
    start({"Speed", kLocalLogger});
    session.setup.socket = nullptr;
    log.clear();
    EXPECT_EQ(value(speedValue()), 1);
    { const WaResponseSignal onDemand(SignalKey("Speed", kLocalLogger)); }
    EXPECT_THAT(log.logLines(), ElementsAre("[DEBUG] KLV::sendMessage() Invalid server",
                                            "[DEBUG] KLV::sendMessage() Invalid server"));
}

}  // namespace
