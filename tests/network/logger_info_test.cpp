#include <chrono>
#include <thread>

#include "krpbus/messages/krp_get_device_components.h"
#include "tests/network/network_session.h"

using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char* const kLocalEntry =
    R"({"mac":"02:00:00:00:00:0A","logger_name":"Front","config_name":"winter",)"
    R"("timezone":"CET","logger_type":"Stratolog2","softwareVersion":"3.1"})";
const char* const kOtherEntry =
    R"({"mac":"02:00:00:00:00:0B","logger_name":"Rear","config_name":"summer",)"
    R"("timezone":"UTC","logger_type":"Handheld Control Unit","softwareVersion":"1.0"})";
const char* const kThirdEntry =
    R"({"mac":"02:00:00:00:00:0C","logger_name":"Roof","config_name":"autumn",)"
    R"("timezone":"EST","logger_type":"Stratolog Bus Recorder","softwareVersion":"2.4"})";

std::string loggerInfo(const std::string& entries, const std::string& status) {
    return R"({"response":"get_logger_info","ksl_name":"","configs":[)" + entries +
           R"(],"status":")" + status + R"("})";
}

std::string entryOf(const std::string& lastByte, const std::string& loggerName,
                    const std::string& configName, const std::string& timeZone,
                    const std::string& type, const std::string& version) {
    return R"({"mac":"02:00:00:00:00:)" + lastByte + R"(","logger_name":")" + loggerName +
           R"(","config_name":")" + configName + R"(","timezone":")" + timeZone +
           R"(","logger_type":")" + type + R"(","softwareVersion":")" + version + R"("})";
}

class LoggerInfo : public NetworkSession {
  protected:
    // Of two loggers, one answers this request after a while; both keep the other parts to
    // themselves.
    void expectWaitEndsWith(krpMsgID_t complete) {
        start(2);
        for (const krpMsgID_t id : std::initializer_list<krpMsgID_t>{82, 53, 117}) {
            if (id != complete) {
                logger(0).behave(id, kSilent);
                logger(1).behave(id, kSilent);
            }
        }
        logger(1).behave(complete, {.delay = milliseconds(300)});
        const auto begin = Clock::now();
        getLoggerInfo(300);
        EXPECT_GE(Clock::now() - begin, milliseconds(300));
        EXPECT_LT(Clock::now() - begin, milliseconds(25000));
        EXPECT_THAT(log_.logLines("getLoggerInfo"),
                    ElementsAre("[DEBUG] KLV::getLoggerInfo() GetLoggerInfo: timeout=300",
                                "[DEBUG] KLV::getLoggerInfo() wait for logger config",
                                "[DEBUG] KLV::getLoggerInfo() incomplete logger info"));
    }

    // The answer to "get_logger_info" as a browser gets it in the end: the wait for it ends with
    // the first complete part, so it asks again while another part is still on its way.
    std::string completeLoggerInfo() {
        for (int attempt = 0; attempt < 20; ++attempt) {
            session_.host.clearFrames();
            log_.clear();
            EXPECT_EQ(run("get_logger_info"), 1);
            if (session_.sent().back().find("PROGRESS") == std::string::npos) {
                break;
            }
        }
        return session_.sent().back();
    }
};

}  // namespace

TEST_F(LoggerInfo, ListTheOnlyLogger) {
    start(1);
    EXPECT_EQ(completeLoggerInfo(), loggerInfo(kLocalEntry, "OK"));
}

TEST_F(LoggerInfo, ListTwoLoggers) {
    start(2);
    EXPECT_EQ(completeLoggerInfo(), loggerInfo(std::string(kLocalEntry) + "," + kOtherEntry, "OK"));
}

TEST_F(LoggerInfo, ListThreeLoggers) {
    start(3);
    EXPECT_EQ(completeLoggerInfo(),
              loggerInfo(std::string(kLocalEntry) + "," + kOtherEntry + "," + kThirdEntry, "OK"));
    EXPECT_EQ(session_.sent().size(), 1U);
    const std::vector<std::string> lines = log_.logLines("getLoggerInfo");
    EXPECT_EQ(lines.front(), "[DEBUG] KLV::getLoggerInfo() GetLoggerInfo: timeout=20");
    EXPECT_EQ(lines.back(), "[DEBUG] KLV::getLoggerInfo() complete logger info");
}

TEST_F(LoggerInfo, AskForTheThreePartsInOrder) {
    start(2);
    for (const krpMsgID_t id : std::initializer_list<krpMsgID_t>{82, 53, 117}) {
        logger(1).behave(id, kSilent);
    }
    run("get_logger_info");
    EXPECT_THAT(logger(0).requestOrder(), ElementsAre(82, 53, 117));
    EXPECT_THAT(logger(1).requestOrder(), ElementsAre(82, 53, 117));
    EXPECT_THAT(log_.logLines("getLoggerInfo"),
                ElementsAre("[DEBUG] KLV::getLoggerInfo() GetLoggerInfo: timeout=20",
                            "[DEBUG] KLV::getLoggerInfo() wait for logger config",
                            "[DEBUG] KLV::getLoggerInfo() incomplete logger info"));
}

TEST_F(LoggerInfo, NameTheAddressThatNoLoggerAnswersUnder) {
    start(1);
    kslInfo->setNeighbours({});
    kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
    for (const krpMsgID_t id : std::initializer_list<krpMsgID_t>{88, 82, 53, 117}) {
        logger(0).behave(id, kSilent);
    }
    run("get_logger_info");
    EXPECT_THAT(
        log_.logLines("getLoggerInfo"),
        ElementsAre("[DEBUG] KLV::getLoggerInfo() GetLoggerInfo: timeout=20",
                    "[DEBUG] KLV::getLoggerInfo() wait for logger config",
                    "[WARNING] KLV::getLoggerInfo() no logger answers under the address " +
                        session_.setup.krpbus->getMac() +
                        ", which is KRPBUS_MAC or else the lowest of this machine's interfaces",
                    "[DEBUG] KLV::getLoggerInfo() incomplete logger info"));
}

TEST_F(LoggerInfo, AskForTheNeighboursFirstWhenTheyAreNotKnown) {
    start(2);
    kslInfo->setNeighbours({});
    kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
    logger(0).behave(88, {.delay = milliseconds(300)});
    run("get_logger_info");
    // One complete part ends the wait, perhaps before the last request has been taken.
    ASSERT_TRUE(logger(0).waitForRequests(117, 1));
    EXPECT_THAT(logger(0).requestOrder(), ElementsAre(88, 82, 53, 117));
    EXPECT_THAT(log_.logLines("checkKSLNetwork"),
                ElementsAre("[ERROR] KLV::checkKSLNetwork() kslInfo->neighboursState undefined"));
    EXPECT_EQ(
        session_.sent().front(),
        R"({"response":"get_ksl_network","ksl_network":["02:00:00:00:00:0B"],"status":"OK"})");
    EXPECT_THAT(session_.sent().back(), StartsWith(R"({"response":"get_logger_info")"));
}

TEST_F(LoggerInfo, StopWaitingWhenTheTimeZonesAreComplete) {
    expectWaitEndsWith(53);
    EXPECT_THAT(session_.sent(),
                ElementsAre(loggerInfo(entryOf("0A", "", "", "CET", "unknown", "") + "," +
                                           entryOf("0B", "", "", "UTC", "unknown", ""),
                                       "PROGRESS")));
}

TEST_F(LoggerInfo, StopWaitingWhenTheConfigurationsAreComplete) {
    expectWaitEndsWith(82);
    EXPECT_THAT(session_.sent(),
                ElementsAre(loggerInfo(entryOf("0A", "Front", "winter", "", "unknown", "") + "," +
                                           entryOf("0B", "Rear", "summer", "", "unknown", ""),
                                       "PROGRESS")));
}

TEST_F(LoggerInfo, StopWaitingWhenTheDeviceComponentsAreComplete) {
    expectWaitEndsWith(117);
    EXPECT_THAT(session_.sent(), ElementsAre(loggerInfo(
                                     entryOf("0A", "", "", "", "Stratolog2", "3.1") + "," +
                                         entryOf("0B", "", "", "", "Handheld Control Unit", "1.0"),
                                     "PROGRESS")));
}

TEST_F(LoggerInfo, ListWhatThereIsWhenALoggerIsSilent) {
    start(2);
    for (const krpMsgID_t id : std::initializer_list<krpMsgID_t>{82, 53, 117}) {
        logger(1).behave(id, kSilent);
    }
    const auto begin = Clock::now();
    run("get_logger_info");
    EXPECT_GE(Clock::now() - begin, milliseconds(2000));
    EXPECT_THAT(session_.sent(), ElementsAre(loggerInfo(kLocalEntry, "PROGRESS")));
    EXPECT_FALSE(kslInfo->loggerInfoComplete());
}

TEST_F(LoggerInfo, AreNotDeceivedByALoggerThatAnswersTwice) {
    start(2);
    for (const krpMsgID_t id : std::initializer_list<krpMsgID_t>{82, 53, 117}) {
        logger(0).behave(id, {.answers = 3});
        logger(1).behave(id, kSilent);
    }
    run("get_logger_info");
    EXPECT_THAT(session_.sent(), ElementsAre(loggerInfo(kLocalEntry, "PROGRESS")));
}

TEST_F(LoggerInfo, ListNothingOfAnAnswerThatFailed) {
    start(2);
    for (const krpMsgID_t id : std::initializer_list<krpMsgID_t>{82, 53, 117}) {
        logger(1).behave(id, {.status = KRPMessageResponse::KRPSTATUS_ERROR,
                              .error = errorCode_t::NotAllowed,
                              .description = "locked"});
    }
    run("get_logger_info");
    EXPECT_THAT(sentInTheEnd(), ElementsAre(loggerInfo(kLocalEntry, "PROGRESS")));
}

TEST_F(LoggerInfo, CompleteTheLoggerInfoWithALateAnswer) {
    start(2);
    for (const krpMsgID_t id : std::initializer_list<krpMsgID_t>{82, 53, 117}) {
        logger(1).behave(id, kSilent);
    }
    run("get_logger_info");
    sendLate(std::make_unique<String2MessageResponse<82>>("summer", "Rear"));
    sendLate(std::make_unique<StringMessageResponse<53, 1>>("UTC"));
    EXPECT_FALSE(kslInfo->loggerInfoComplete());
    sendLate(std::make_unique<KRPResponseGetDeviceComponents>(16, 21, "1.0", "Rear"));
    while (!kslInfo->loggerInfoComplete()) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    EXPECT_THAT(sentInTheEnd(), ElementsAre(loggerInfo(kLocalEntry, "PROGRESS")));
}

TEST_F(LoggerInfo, AreCompleteAgainOnceALoggerThatLeftIsOffTheList) {
    start(2);
    completeLoggerInfo();
    loggers_.pop_back();
    session_.host.clearFrames();
    run("get_logger_info");
    EXPECT_EQ(session_.sent().back(), loggerInfo(kLocalEntry, "PROGRESS"));
    facts_[0].neighbours.clear();
    logger(0).setFacts(facts_[0]);
    run("get_ksl_network");
    ASSERT_TRUE(session_.host.waitForFrames(2));
    EXPECT_EQ(completeLoggerInfo(), loggerInfo(kLocalEntry, "OK"));
}
