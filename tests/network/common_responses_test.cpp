#include "network/common_responses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <list>
#include <thread>

#include "krpbus/messages/krp_get_device_components.h"
#include "modules/trigger/trigger_module.h"
#include "network/ksl_info.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::string kLocal = "02:00:00:00:00:0A";
const std::string kOther = "02:00:00:00:00:0B";

using StatusAnswer = Simple1MessageResponse<23, unsigned char>;
using ZoneAnswer = StringMessageResponse<53, 1>;
using ConfigAnswer = String2MessageResponse<82>;
using NetworkAnswer = StringVectorMessageResponse<88>;
using OffsetAnswer = Simple1MessageResponse<89, long long>;
using DeviceAnswer = KRPResponseGetDeviceComponents;

// Answers as the bus thread hands them on.
class CommonResponses : public testing::Test {
  protected:
    CommonResponses() { session_.setup.krpbus_name = "17_KLV1"; }

    static void forgetTheRecord() {
        delete kslInfo;
        kslInfo = nullptr;
    }

    WorkerSession session_;
    LogCapture log_;
};

template <class Answer>
Answer failed(std::uint8_t status, errorCode_t code, const std::string& description) {
    Answer answer;
    answer.setError(status, code, description);
    return answer;
}

class NetworkFile {
  public:
    explicit NetworkFile(const std::string& content)
        : path_(testing::TempDir() + "network-" + std::to_string(getpid()) + ".xml") {
        std::ofstream(path_) << content;
        setenv("KSL_CONFIG_FILE", path_.c_str(), 1);
    }
    ~NetworkFile() { std::remove(path_.c_str()); }
    NetworkFile(const NetworkFile&) = delete;
    NetworkFile& operator=(const NetworkFile&) = delete;

  private:
    std::string path_;
};

}  // namespace

TEST_F(CommonResponses, ClaimTheFiveAnswersOfTheCommonRequests) {
    const NetworkAnswer network;
    const ConfigAnswer config;
    const DeviceAnswer device;
    const ZoneAnswer zone;
    const StatusAnswer status;
    for (const KRPMessageResponse* answer : std::initializer_list<const KRPMessageResponse*>{
             &network, &config, &device, &zone, &status}) {
        EXPECT_EQ(handleCommonMessages(answer, kLocal), 1) << answer->toString();
    }
}

TEST_F(CommonResponses, LeaveAllOtherAnswersAlone) {
    const OffsetAnswer offset;
    const SimpleMessageResponse<87> other;
    const StringVectorMessageResponse<86> list;
    const Simple1MessageResponse<96, unsigned char> byte;
    for (const KRPMessageResponse* answer :
         std::initializer_list<const KRPMessageResponse*>{&offset, &other, &list, &byte}) {
        EXPECT_EQ(handleCommonMessages(answer, kLocal), 0) << answer->toString();
    }
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_THAT(log_.logLines(), IsEmpty());
}

TEST_F(CommonResponses, StoreAndSendTheNeighbours) {
    const NetworkAnswer answer({kOther, "02:00:00:00:00:0C"});
    handleCommonMessages(&answer, kLocal);
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_COMPLETE);
    EXPECT_THAT(kslInfo->getNeighbours(), ElementsAre(kOther, "02:00:00:00:00:0C"));
    EXPECT_TRUE(kslInfo->networkInUse);
    EXPECT_FALSE(kslInfo->standsAlone);
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"get_ksl_network","ksl_network":["02:00:00:00:00:0B",)"
                            R"("02:00:00:00:00:0C"],"status":"OK"})"));
}

TEST_F(CommonResponses, SendAnEmptyListOfNeighbours) {
    const NetworkAnswer answer;
    handleCommonMessages(&answer, kLocal);
    EXPECT_TRUE(kslInfo->standsAlone);
    EXPECT_FALSE(kslInfo->networkInUse);
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"get_ksl_network","ksl_network":[],"status":"OK"})"));
}

TEST_F(CommonResponses, TakeTheNeighbourStateBackWhenTheListFails) {
    kslInfo->setNeighbours({kOther});
    kslInfo->neighboursState = KSL_MSG_STATE_UPDATE;
    const auto answer = failed<NetworkAnswer>(KRPMessageResponse::KRPSTATUS_ERROR,
                                              errorCode_t::NotFound, "no network");
    handleCommonMessages(&answer, kLocal);
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_EMPTY);
    EXPECT_THAT(kslInfo->getNeighbours(), ElementsAre(kOther));
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(R"({"response":"get_ksl_network","status":"ERROR","krp_status":"ERROR",)"
                    R"("error_code":"krpbus_error","krp_error_code":"KRPERROR_NOT_FOUND",)"
                    R"("krp_error_description":"no network"})"));
}

TEST_F(CommonResponses, ShowTheNeighboursEvenWithoutTheRecord) {
    forgetTheRecord();
    const NetworkAnswer answer({kOther});
    handleCommonMessages(&answer, kLocal);
    EXPECT_THAT(session_.sent(), ElementsAre(R"({"response":"get_ksl_network","ksl_network":)"
                                             R"(["02:00:00:00:00:0B"],"status":"OK"})"));
}

TEST_F(CommonResponses, SendTheStatusOnceEveryLoggerHasAnswered) {
    kslInfo->setNeighbours({kOther});
    const StatusAnswer first(5);
    handleCommonMessages(&first, kOther);
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_THAT(
        log_.logLines(),
        ElementsAre("[DEBUG] KLV::handleCommonMessages() ********* GetLoggerStatus **************",
                    "[DEBUG] KLV::WaResponseGetLoggerStatus() stp->krpbus_name=17_KLV1 " +
                        first.toString()));
    log_.clear();

    const StatusAnswer second(0);
    handleCommonMessages(&second, kLocal);
    EXPECT_EQ(kslInfo->statusState, KSL_MSG_STATE_COMPLETE);
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"get_logger_status","logger_status":[)"
                            R"({"mac":"02:00:00:00:00:0A","status":"0"},)"
                            R"({"mac":"02:00:00:00:00:0B","status":"5"}],"status":"OK"})"));
    EXPECT_THAT(
        log_.logLines("WaResponseGetLoggerStatus"),
        ElementsAre(
            "[DEBUG] KLV::WaResponseGetLoggerStatus() stp->krpbus_name=17_KLV1 " +
                second.toString(),
            "[DEBUG] KLV::WaResponseGetLoggerStatus() logger state Responses is complete, maybe "
            "we can send a response to KLV",
            "[DEBUG] KLV::WaResponseGetLoggerStatus() mac=02:00:00:00:00:0A status=0",
            "[DEBUG] KLV::WaResponseGetLoggerStatus() mac=02:00:00:00:00:0B status=5"));
}

TEST_F(CommonResponses, ReportAFailedStatusByItselfAndDoNotCountIt) {
    kslInfo->statusState = KSL_MSG_STATE_UPDATE;
    const auto answer =
        failed<StatusAnswer>(KRPMessageResponse::KRPSTATUS_NOTAVAILABLE, errorCode_t::Timeout, "");
    handleCommonMessages(&answer, kLocal);
    EXPECT_EQ(kslInfo->statusState, KSL_MSG_STATE_UPDATE);
    EXPECT_THAT(kslInfo->getStatusMap(), IsEmpty());
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"get_logger_status","status":"ERROR",)"
                            R"("krp_status":"KRPSTATUS_NOTAVAILABLE","error_code":"krpbus_error",)"
                            R"("krp_error_code":"KRPERROR_TIMEOUT"})"));
}

TEST_F(CommonResponses, SendTheTimeOffsetsOnceEveryLoggerHasAnswered) {
    kslInfo->setNeighbours({kOther});
    const OffsetAnswer first(-9007199254740993LL);
    EXPECT_EQ(handleTriggerMessages(&first, kOther), 1);
    EXPECT_THAT(session_.sent(), IsEmpty());
    const OffsetAnswer second(0);
    EXPECT_EQ(handleTriggerMessages(&second, kLocal), 1);
    EXPECT_EQ(kslInfo->timeOffsetState, KSL_MSG_STATE_COMPLETE);
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(
            R"({"response":"get_ksl_time_offset","offset":[)"
            R"({"mac":"02:00:00:00:00:0A","time_offset":0},)"
            R"({"mac":"02:00:00:00:00:0B","time_offset":-9007199254740993}],"status":"OK"})"));
}

TEST_F(CommonResponses, ReportAFailedTimeOffsetByItselfAndDoNotCountIt) {
    const auto answer =
        failed<OffsetAnswer>(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Internal, "broken");
    handleTriggerMessages(&answer, kLocal);
    EXPECT_EQ(kslInfo->timeOffsetState, KSL_MSG_STATE_EMPTY);
    EXPECT_THAT(kslInfo->getKslTimeOffsetMap(), IsEmpty());
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(R"({"response":"get_ksl_time_offset","status":"ERROR","krp_status":"ERROR",)"
                    R"("error_code":"krpbus_error","krp_error_code":"KRPERROR_INTERNAL",)"
                    R"("krp_error_description":"broken"})"));
}

TEST_F(CommonResponses, LogEachPartOfTheLoggerInfoThatIsComplete) {
    kslInfo->resetConfigMap();
    const ConfigAnswer config("winter", "Front");
    handleCommonMessages(&config, kLocal);
    EXPECT_EQ(kslInfo->configState, KSL_MSG_STATE_COMPLETE);
    EXPECT_EQ(kslInfo->timeZoneState, KSL_MSG_STATE_UPDATE);
    const ZoneAnswer zone("CET");
    handleCommonMessages(&zone, kLocal);
    EXPECT_EQ(kslInfo->timeZoneState, KSL_MSG_STATE_COMPLETE);
    EXPECT_EQ(kslInfo->deviceComponentsState, KSL_MSG_STATE_UPDATE);
    const DeviceAnswer device(1, 0, "3.1", "Front");
    handleCommonMessages(&device, kLocal);
    EXPECT_TRUE(kslInfo->loggerInfoComplete());
    EXPECT_THAT(
        log_.logLines(),
        ElementsAre("[DEBUG] KLV::WaResponseGetLoggerConfig() config Responses is complete, maybe "
                    "we can send a response to KLV",
                    "[DEBUG] KLV::WaResponseTimeZone() timeZone Responses is complete, maybe we "
                    "can send a response to KLV",
                    "[DEBUG] KLV::WaResponseDeviceComponents() Check for single Logger and HCU",
                    "[DEBUG] KLV::WaResponseDeviceComponents() device components Responses is "
                    "complete, maybe we can send a response to KLV"));
    EXPECT_THAT(session_.sent(), IsEmpty()) << "the command sends what is merged";
}

TEST_F(CommonResponses, CountNoFailedPartOfTheLoggerInfo) {
    kslInfo->resetConfigMap();
    const auto config =
        failed<ConfigAnswer>(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Busy, "");
    const auto zone =
        failed<ZoneAnswer>(KRPMessageResponse::KRPSTATUS_NOTAVAILABLE, errorCode_t::None, "");
    const auto device =
        failed<DeviceAnswer>(KRPMessageResponse::KRPSTATUS_PROGRESS, errorCode_t::None, "");
    handleCommonMessages(&config, kLocal);
    handleCommonMessages(&zone, kLocal);
    handleCommonMessages(&device, kLocal);
    KslInfo::ConfigMap configs;
    EXPECT_FALSE(kslInfo->getConfigMap(configs));
    EXPECT_EQ(kslInfo->configState, KSL_MSG_STATE_UPDATE);
    EXPECT_EQ(kslInfo->timeZoneState, KSL_MSG_STATE_UPDATE);
    EXPECT_EQ(kslInfo->deviceComponentsState, KSL_MSG_STATE_UPDATE);
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_THAT(
        log_.logLines(),
        ElementsAre(
            "[ERROR] KLV::WaResponseGetLoggerConfig() " + kLocal + ": " + config.toString(),
            "[ERROR] KLV::WaResponseTimeZone() " + kLocal + ": " + zone.toString(),
            "[ERROR] KLV::WaResponseDeviceComponents() " + kLocal + ": " + device.toString()));
}

TEST_F(CommonResponses, FindTheControlUnitBesideASingleLogger) {
    kslInfo->setNeighbours({kOther});
    const DeviceAnswer logger(1, 0, "3.1", "Front");
    const DeviceAnswer controlUnit(16, 21, "1.0", "HCU");
    const std::string found = "[DEBUG] KLV::WaResponseDeviceComponents() HCU found!";
    handleCommonMessages(&logger, kLocal);
    EXPECT_THAT(log_.logLines(), Not(Contains(found)));
    handleCommonMessages(&controlUnit, kOther);
    EXPECT_THAT(log_.logLines(), Contains(found).Times(1));
}

TEST_F(CommonResponses, LookForNoControlUnitInALargerNetwork) {
    kslInfo->setNeighbours({kOther, "02:00:00:00:00:0C"});
    const DeviceAnswer controlUnit(16, 21, "1.0", "HCU");
    handleCommonMessages(&controlUnit, kOther);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[DEBUG] KLV::WaResponseDeviceComponents() Check for single Logger "
                            "and HCU"));
}

TEST_F(CommonResponses, StoreNothingWithoutTheRecord) {
    forgetTheRecord();
    const ConfigAnswer config("winter", "Front");
    const ZoneAnswer zone("CET");
    const DeviceAnswer device(1, 0, "3.1", "Front");
    const StatusAnswer status(1);
    const OffsetAnswer offset(1);
    handleCommonMessages(&config, kLocal);
    handleCommonMessages(&zone, kLocal);
    handleCommonMessages(&device, kLocal);
    handleCommonMessages(&status, kLocal);
    handleTriggerMessages(&offset, kLocal);
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(CommonResponses, SendEmptyMergedAnswersWithoutTheRecord) {
    forgetTheRecord();
    { const WaResponseGetLoggerStatus status; }
    { const WaResponseGetKslTimeOffset offset; }
    { const WaResponseGetLoggerInfo info; }
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(
            R"({"response":"get_logger_status","logger_status":[],"status":"OK"})",
            R"({"response":"get_ksl_time_offset","offset":[],"status":"OK"})",
            R"({"response":"get_logger_info","ksl_name":"","configs":[],"status":"PROGRESS"})"));
}

TEST_F(CommonResponses, ListWhatIsKnownOfALoggerAndLeaveTheRestEmpty) {
    const ZoneAnswer zone("CET");
    handleCommonMessages(&zone, kLocal);
    log_.clear();
    { const WaResponseGetLoggerInfo info; }
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"get_logger_info","ksl_name":"","configs":[)"
                            R"({"mac":"02:00:00:00:00:0A","logger_name":"","config_name":"",)"
                            R"("timezone":"CET","logger_type":"unknown","softwareVersion":""}],)"
                            R"("status":"PROGRESS"})"));
    EXPECT_THAT(log_.logLines(), ElementsAre("[DEBUG] KLV::getLoggerName() no logger name"))
        << "without neighbours no file is read";
}

TEST_F(CommonResponses, SayOkOnlyOfLoggersThatAreAllThere) {
    std::list<std::string> others;
    for (int i = 100; i < 400; ++i) {
        others.push_back("02:00:00:00:01:" + std::to_string(i));
    }
    const ConfigAnswer config("winter", "Front");
    const ZoneAnswer zone("CET");
    const DeviceAnswer device(1, 0, "3.1", "Front");
    kslInfo->setNeighbours(others);
    constexpr int kRounds = 20;
    for (int round = 0; round < kRounds; ++round) {
        kslInfo->resetConfigMap();
        for (const std::string& mac : others) {
            handleCommonMessages(&config, mac);
            handleCommonMessages(&zone, mac);
            handleCommonMessages(&device, mac);
        }
        handleCommonMessages(&config, kLocal);
        handleCommonMessages(&zone, kLocal);
        const auto begin = std::chrono::steady_clock::now();
        { const WaResponseGetLoggerInfo info; }
        const auto taken = std::chrono::steady_clock::now() - begin;
        session_.host.clearFrames();
        // At another moment of the next one each time.
        std::thread lastAnswer([&] {
            session_.host.waitForFrames(1);
            std::this_thread::sleep_for(taken * round / kRounds);
            handleCommonMessages(&device, kLocal);
        });
        do {
            const WaResponseGetLoggerInfo info;
        } while (session_.sent().back().find(R"("status":"OK")") == std::string::npos);
        lastAnswer.join();
        EXPECT_THAT(session_.sent().back(), Not(HasSubstr(R"("softwareVersion":"")")));
    }
}

TEST_F(CommonResponses, ReadTheNetworksNameWhenThereAreNeighbours) {
    const NetworkFile file("<ksl><name>Fleet 7</name></ksl>");
    kslInfo->setNeighbours({kOther});
    { const WaResponseGetLoggerInfo info; }
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"get_logger_info","ksl_name":"Fleet 7",)"
                            R"("configs":[],"status":"PROGRESS"})"));
    EXPECT_THAT(log_.logLines(), ElementsAre("[DEBUG] KLV::WaResponseGetLoggerInfo() Read xml KSL "
                                             "Config file..."));
}

TEST_F(CommonResponses, SayThatTheNetworksFileCannotBeRead) {
    const NetworkFile file("<ksl><name>Fleet 7</na");
    kslInfo->setNeighbours({kOther});
    { const WaResponseGetLoggerInfo info; }
    EXPECT_THAT(session_.sent(), ElementsAre(R"({"response":"get_logger_info","ksl_name":"",)"
                                             R"("configs":[],"status":"PROGRESS"})"));
    const std::vector<std::string> lines = log_.logLines("WaResponseGetLoggerInfo");
    EXPECT_THAT(lines, ElementsAre("[DEBUG] KLV::WaResponseGetLoggerInfo() Read xml KSL Config "
                                   "file...",
                                   "[DEBUG] KLV::WaResponseGetLoggerInfo() Invalid Cfg: Can not "
                                   "set data!"));
}
