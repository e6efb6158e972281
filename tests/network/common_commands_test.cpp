#include "network/common_commands.h"

#include <chrono>
#include <thread>

#include "tests/kit/slept_time.h"
#include "tests/network/network_session.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char* const kNoLoggerInfo =
    R"({"response":"get_logger_info","ksl_name":"","configs":[],"status":"PROGRESS"})";

const char* const kNeighbour =
    R"({"response":"get_ksl_network","ksl_network":["02:00:00:00:00:0B"],"status":"OK"})";

class CommonCommands : public NetworkSession {
  protected:
    // Nothing is known of the neighbours, and their list takes its time.
    void forgetTheNeighbours() {
        kslInfo->setNeighbours({});
        kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
        logger(0).behave(88, {.delay = milliseconds(300)});
    }
};

}  // namespace

TEST_F(CommonCommands, LeaveAllOtherCommandsAlone) {
    for (const char* cmd : {"", "ping", "get_logger_inf", "get_logger_infos", "Get_logger_info",
                            "get_bus_names", "close_webapp"}) {
        EXPECT_EQ(run(cmd), 0) << cmd;
    }
    EXPECT_THAT(log_.logLines(), IsEmpty());
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(CommonCommands, ShowTheNeighbours) {
    start(3);
    const SleptTime slept;
    EXPECT_EQ(run("get_ksl_network"), 1);
    EXPECT_EQ(slept.microseconds(), 0U) << "nothing is waited for";
    ASSERT_TRUE(session_.host.waitForFrames(1));
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"get_ksl_network","ksl_network":["02:00:00:00:00:0B",)"
                            R"("02:00:00:00:00:0C"],"status":"OK"})"));
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_COMPLETE);
    EXPECT_EQ(logger(1).requests(88), 0) << "this logger alone is asked";
}

TEST_F(CommonCommands, ReportAFailedNeighbourListAndCanAskAgain) {
    start(1);
    logger(0).behave(
        88, {.status = KRPMessageResponse::KRPSTATUS_ERROR, .error = errorCode_t::Internal});
    run("get_ksl_network");
    ASSERT_TRUE(session_.host.waitForFrames(1));
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_EMPTY);
    logger(0).behave(88, {});
    run("get_ksl_network");
    ASSERT_TRUE(session_.host.waitForFrames(2));
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_COMPLETE);
}

TEST_F(CommonCommands, AskWithoutWaitingWhenToldNotToWait) {
    start(1);
    for (const krpMsgID_t id : std::initializer_list<krpMsgID_t>{82, 53, 117, 23, 89}) {
        logger(0).behave(id, kSilent);
    }
    const SleptTime slept;
    getLoggerInfo(0);
    getLoggerStatus(0);
    getKslTimeOffset(0);
    EXPECT_EQ(slept.microseconds(), 0U);
    EXPECT_THAT(session_.sent(), ElementsAre(kNoLoggerInfo));
    EXPECT_THAT(log_.logLines(), Not(Contains(testing::HasSubstr("wait for"))));
    EXPECT_TRUE(logger(0).waitForRequests(89, 1));
}

TEST_F(CommonCommands, ShowTheStatusOfOneLogger) {
    start(1);
    EXPECT_EQ(run("get_logger_status"), 1);
    EXPECT_THAT(sentInTheEnd(),
                ElementsAre(R"({"response":"get_logger_status","logger_status":[)"
                            R"({"mac":"02:00:00:00:00:0A","status":"1"}],"status":"OK"})"));
}

TEST_F(CommonCommands, ShowTheStatusOfThreeLoggers) {
    start(3);
    logger(2).behave(23, {.delay = milliseconds(250)});
    EXPECT_EQ(run("get_logger_status"), 1);
    EXPECT_THAT(sentInTheEnd(),
                ElementsAre(R"({"response":"get_logger_status","logger_status":[)"
                            R"({"mac":"02:00:00:00:00:0A","status":"1"},)"
                            R"({"mac":"02:00:00:00:00:0B","status":"2"},)"
                            R"({"mac":"02:00:00:00:00:0C","status":"3"}],"status":"OK"})"));
    EXPECT_THAT(logger(0).requestOrder(), ElementsAre(23));
}

TEST_F(CommonCommands, SendNoStatusWhileALoggerIsSilentAndSendItWhenItComesLate) {
    start(2);
    logger(1).behave(23, kSilent);
    const auto begin = Clock::now();
    run("get_logger_status");
    EXPECT_GE(Clock::now() - begin, milliseconds(2000));
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_EQ(kslInfo->statusState, KSL_MSG_STATE_UPDATE);
    EXPECT_THAT(log_.logLines("getLoggerStatus"),
                ElementsAre("[DEBUG] KLV::getLoggerStatus() GetLoggerStatus: timeout=20",
                            "[DEBUG] KLV::getLoggerStatus() wait for logger status"));
    sendLate(std::make_unique<Simple1MessageResponse<23, unsigned char>>(2));
    ASSERT_TRUE(session_.host.waitForFrames(1));
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"get_logger_status","logger_status":[)"
                            R"({"mac":"02:00:00:00:00:0A","status":"1"},)"
                            R"({"mac":"02:00:00:00:00:0B","status":"2"}],"status":"OK"})"));
    EXPECT_EQ(kslInfo->statusState, KSL_MSG_STATE_COMPLETE);
}

TEST_F(CommonCommands, SendNoStatusForALoggerThatAnswersTwice) {
    start(2);
    logger(0).behave(23, {.answers = 2});
    logger(1).behave(23, kSilent);
    run("get_logger_status");
    EXPECT_THAT(sentInTheEnd(), IsEmpty());
}

TEST_F(CommonCommands, ReportAFailedStatusByItself) {
    start(2);
    logger(1).behave(23, {.status = KRPMessageResponse::KRPSTATUS_ERROR,
                          .error = errorCode_t::Busy,
                          .description = "later"});
    run("get_logger_status");
    EXPECT_THAT(
        sentInTheEnd(),
        ElementsAre(R"({"response":"get_logger_status","status":"ERROR",)"
                    R"("krp_status":"ERROR","error_code":"krpbus_error",)"
                    R"("krp_error_code":"KRPERROR_BUSY","krp_error_description":"later"})"));
    EXPECT_EQ(kslInfo->statusState, KSL_MSG_STATE_UPDATE);
}

TEST_F(CommonCommands, ForgetTheStatusOfALoggerThatLeft) {
    start(3);
    run("get_logger_status");
    loggers_.pop_back();
    kslInfo->setNeighbours({kOther});
    run("get_logger_status");
    EXPECT_EQ(sentInTheEnd().back(), R"({"response":"get_logger_status","logger_status":[)"
                                     R"({"mac":"02:00:00:00:00:0A","status":"1"},)"
                                     R"({"mac":"02:00:00:00:00:0B","status":"2"}],"status":"OK"})");
}

// A collection that began before the neighbours are known would be complete with this logger alone.
TEST_F(CommonCommands, WaitForTheNeighboursBeforeTheyAskForTheStatus) {
    start(2);
    forgetTheNeighbours();
    run("get_logger_status");
    EXPECT_THAT(logger(0).requestOrder(), ElementsAre(88, 23));
    EXPECT_THAT(sentInTheEnd(),
                ElementsAre(kNeighbour, R"({"response":"get_logger_status",)"
                                        R"("logger_status":[)"
                                        R"({"mac":"02:00:00:00:00:0A","status":"1"},)"
                                        R"({"mac":"02:00:00:00:00:0B","status":"2"}],)"
                                        R"("status":"OK"})"));
}

TEST_F(CommonCommands, WaitForTheNeighboursBeforeTheyAskForTheTimeOffsets) {
    start(2);
    forgetTheNeighbours();
    run("get_ksl_time_offset");
    EXPECT_THAT(logger(0).requestOrder(), ElementsAre(88, 89));
    EXPECT_THAT(sentInTheEnd(),
                ElementsAre(kNeighbour, R"({"response":"get_ksl_time_offset","offset":[)"
                                        R"({"mac":"02:00:00:00:00:0A","time_offset":0},)"
                                        R"({"mac":"02:00:00:00:00:0B","time_offset":-250000}],)"
                                        R"("status":"OK"})"));
}

TEST_F(CommonCommands, ForgetTheTimeOffsetOfALoggerThatLeft) {
    start(3);
    run("get_ksl_time_offset");
    loggers_.pop_back();
    kslInfo->setNeighbours({kOther});
    run("get_ksl_time_offset");
    EXPECT_EQ(sentInTheEnd().back(),
              R"({"response":"get_ksl_time_offset","offset":[)"
              R"({"mac":"02:00:00:00:00:0A","time_offset":0},)"
              R"({"mac":"02:00:00:00:00:0B","time_offset":-250000}],"status":"OK"})");
}

TEST_F(CommonCommands, ShowTheTimeOffsetsOfThreeLoggers) {
    start(3);
    EXPECT_EQ(run("get_ksl_time_offset"), 1);
    EXPECT_THAT(sentInTheEnd(),
                ElementsAre(R"({"response":"get_ksl_time_offset","offset":[)"
                            R"({"mac":"02:00:00:00:00:0A","time_offset":0},)"
                            R"({"mac":"02:00:00:00:00:0B","time_offset":-250000},)"
                            R"({"mac":"02:00:00:00:00:0C","time_offset":9000000000}],)"
                            R"("status":"OK"})"));
    EXPECT_EQ(kslInfo->getKslTimeOffset(kOther), -250000);
}

TEST_F(CommonCommands, SendNoTimeOffsetsWhileALoggerIsSilent) {
    start(2);
    logger(0).behave(89, {.answers = 2});
    logger(1).behave(89, kSilent);
    const auto begin = Clock::now();
    run("get_ksl_time_offset");
    EXPECT_GE(Clock::now() - begin, milliseconds(2000));
    EXPECT_THAT(sentInTheEnd(), IsEmpty());
    EXPECT_THAT(log_.logLines("getKslTimeOffset"),
                ElementsAre("[DEBUG] KLV::getKslTimeOffset() GetKslTimeOffset: timeout=20",
                            "[DEBUG] KLV::getKslTimeOffset() wait for ksl time offset"));
    EXPECT_EQ(kslInfo->timeOffsetState, KSL_MSG_STATE_UPDATE);
}

TEST_F(CommonCommands, ReportAFailedTimeOffsetByItself) {
    start(1);
    logger(0).behave(89, {.status = KRPMessageResponse::KRPSTATUS_NOTAVAILABLE});
    run("get_ksl_time_offset");
    EXPECT_THAT(sentInTheEnd(),
                ElementsAre(R"({"response":"get_ksl_time_offset","status":"ERROR",)"
                            R"("krp_status":"KRPSTATUS_NOTAVAILABLE","error_code":"krpbus_error",)"
                            R"("krp_error_code":"KRPERROR_NONE"})"));
}

TEST_F(CommonCommands, AskASingleLogger) {
    start(2);
    const std::string logText =
        "() stp->krpbus_name=" + thread_->getBusName() + " sourceMac=02:00:00:00:00:0B";
    getLoggerStatus(kOther);
    getTimeZone(kOther);
    getDeviceComponents(kOther);
    getLoggerConfig(kOther);
    getKslTimeOffset(kOther);
    ASSERT_TRUE(logger(1).waitForRequests(89, 1));
    EXPECT_THAT(logger(1).requestOrder(), ElementsAre(23, 53, 117, 82, 89));
    EXPECT_THAT(logger(0).requestOrder(), IsEmpty());
    for (const char* function : {"getLoggerStatus", "getTimeZone", "getDeviceComponents",
                                 "getLoggerConfig", "getKslTimeOffset"}) {
        EXPECT_THAT(log_.logLines(function),
                    ElementsAre("[DEBUG] KLV::" + std::string(function) + logText));
    }
}

TEST_F(CommonCommands, AskThisLoggerAlone) {
    start(2);
    getLoggerStatus(kLocal);
    ASSERT_TRUE(logger(0).waitForRequests(23, 1));
    EXPECT_THAT(sentInTheEnd(), IsEmpty()) << "one answer of two";
    EXPECT_EQ(logger(1).requests(23), 0);
}

TEST_F(CommonCommands, AnswerWithoutTheRecord) {
    start(1);
    delete kslInfo;
    kslInfo = nullptr;
    const SleptTime slept;
    EXPECT_EQ(run("get_logger_status"), 1);
    EXPECT_EQ(run("get_ksl_time_offset"), 1);
    EXPECT_EQ(run("get_logger_info"), 1);
    EXPECT_EQ(slept.microseconds(), 0U) << "there is nothing to wait for";
    EXPECT_EQ(run("get_ksl_network"), 1);
    ASSERT_TRUE(session_.host.waitForFrames(4));
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(
            R"({"response":"get_logger_status","status":"ERROR","error_code":"wait for logger info"})",
            R"({"response":"get_ksl_time_offset","status":"ERROR","error_code":"wait for logger info"})",
            kNoLoggerInfo, R"({"response":"get_ksl_network","ksl_network":[],"status":"OK"})"));
    EXPECT_THAT(log_.logLines(), Contains("[ERROR] KLV::checkKSLNetwork() no kslInfo"));
    getLoggerStatus(20);
    getKslTimeOffset(20);
    EXPECT_EQ(session_.sent().size(), 4U);
}

TEST_F(CommonCommands, AskAnewForNeighboursThatALostConnectionSwallowed) {
    start(1);
    // The bus thread runs once it has handled an answer; one that meets no server at its start
    // ends.
    run("get_ksl_network");
    ASSERT_TRUE(session_.host.waitForText("\"get_ksl_network\""));
    session_.host.clearFrames();
    logger(0).behave(88, kSilent);
    run("get_ksl_network");
    ASSERT_TRUE(logger(0).waitForRequests(88, 2));
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_UPDATE);
    nats_.stop();
    while (thread_->isConnected()) {
        std::this_thread::sleep_for(milliseconds(5));
    }
    nats_.start();
    while (kslInfo->neighboursState != KSL_MSG_STATE_EMPTY) {
        std::this_thread::sleep_for(milliseconds(5));
    }
    logger(0).settle();
    logger(0).behave(88, {});
    run("get_ksl_network");
    EXPECT_TRUE(session_.host.waitForText("\"get_ksl_network\""));
}
