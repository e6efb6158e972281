// The session's set-up and its teardown, without a bus.
#include <apr_pools.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <httpd.h>
#include <algorithm>

#include <memory>
#include <utility>

#include "base/clock.h"
#include "modules/audio/upload_info.h"
#include "network/ksl_info.h"
#include "plugin/lv_websocket.h"
#include "setup/lv_setup.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/recording_host.h"
#include "tests/plugin/allocation_fault.h"
#include "tests/plugin/apr_memory_fault.h"
#include "tests/plugin/without_times.h"
#include "tests/threads/apr_faults.h"
#include "threads/thread_name.h"

namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;
using testing::IsEmpty;

// The base alone, whose set-up starts nothing.
class BareSession : public KrWebsocket {
  public:
    BareSession() : KrWebsocket(nullptr) {}
    using KrWebsocket::setup;
};

Lines offered(const Lines& protocols, int expectedResult) {
    RecordingHost host({.protocols = protocols});
    const LogCapture capture;
    BareSession session;
    EXPECT_EQ(session.setKrProtocol(host.server()), expectedResult);
    return host.chosenProtocols();
}

// Expects that the socket cannot be set up and that nothing is left of the attempt.
void expectSetupFails(RecordingHost& host) {
    BareSession session;
    EXPECT_EQ(session.setup_socket(host.server()), -1);
    EXPECT_EQ(session.setup.socket, nullptr);
    EXPECT_EQ(session.setup.id, "NULL");
    EXPECT_EQ(stp, nullptr);
    EXPECT_THAT(host.frames(), IsEmpty());
}

// What the destructor of a session without threads logs, in its own name.
const Lines kTeardownOfAFailedSession = {
    "[INFO] KLV::~LvWebsocket() <time>: delete websocket",
    "[DEBUG] KLV::~LvWebsocket() stop_thread krpbus",
    "[DEBUG] KLV::~LvWebsocket() stop ping",
    "[DEBUG] KLV::~LvWebsocket() stop monitor",
    "[DEBUG] KLV::~LvWebsocket() stop busload",
    "[DEBUG] KLV::~LvWebsocket() stop trigger",
    "[DEBUG] KLV::~LvWebsocket() stop signal",
    "[DEBUG] KLV::~LvWebsocket() waRequestMessage_destroy",
    "[DEBUG] KLV::~LvWebsocket() uploadfileInfo deleted",
    "[DEBUG] KLV::~LvWebsocket() kslInfo deleted",
    "[DEBUG] KLV::~LvWebsocket() TIME: <ms>",
    "[DEBUG] KLV::~LvWebsocket() LvWebsocket destroyed",
};

Lines destructorLines(const LogCapture& capture) {
    Lines lines;
    for (const std::string& line : capture.logLines("~LvWebsocket")) {
        lines.push_back(withoutTimes(line));
    }
    return lines;
}

}  // namespace

TEST(SubProtocol, IsChosenWhereverItStands) {
    EXPECT_EQ(offered({"kr-webapp-v1"}, 0), Lines{"kr-webapp-v1"});
    EXPECT_EQ(offered({"chat", "kr-webapp-v2", "kr-webapp-v1"}, 0), Lines{"kr-webapp-v1"});
    EXPECT_EQ(offered({"kr-webapp-v1", "kr-webapp-v1"}, 0), Lines{"kr-webapp-v1"});
}

TEST(SubProtocol, IsNotChosenWhenOnlyOthersAreOffered) {
    EXPECT_THAT(offered({}, -1), IsEmpty());
    EXPECT_THAT(offered({"kr-webapp-v2", "kr-webapp-v1x"}, -1), IsEmpty());
    EXPECT_THAT(offered({"kr-webapp-v", "KR-WEBAPP-V1", ""}, -1), IsEmpty());
}

TEST(SubProtocol, IsLookedForBehindAMissingName) {
    RecordingHost host({.protocols = {"x", "kr-webapp-v1"}});
    host.server()->protocol_index = [](const WebSocketServer*, size_t index) -> const char* {
        return index == 0 ? nullptr : "kr-webapp-v1";
    };
    const LogCapture capture;
    BareSession session;
    EXPECT_EQ(session.setKrProtocol(host.server()), 0);
}

TEST(SessionBase, WritesTestLinesAndSendsStandardOutputWhereStandardErrorGoes) {
    const LogCapture capture;
    const BareSession session;
    EXPECT_EQ(session.setup.id, "NULL");
    EXPECT_EQ(session.setup.socket, nullptr);
    EXPECT_EQ(session.setup.krpbus_name, "");
    EXPECT_EQ(capture.standardOutput(), "debug test 0\n");
    EXPECT_EQ(capture.standardError(), "error test 0\n");
    const BareSession second;
    EXPECT_EQ(capture.standardOutput(), "debug test 0\n");
    EXPECT_EQ(capture.standardError(), "error test 0\ndebug test 0\nerror test 0\n");
}

TEST(SetupSocket, FillsTheRecordAndMakesItTheCurrentOne) {
    RecordingHost host({.connectionId = 4711});
    const LogCapture capture;
    {
        BareSession session;
        ASSERT_EQ(session.setup_socket(host.server()), 0);
        EXPECT_EQ(stp, &session.setup);
        EXPECT_EQ(session.setup.id, "[4711] ");
        ASSERT_NE(session.setup.socket, nullptr);
        EXPECT_EQ(session.setup.socket->server, host.server());
        EXPECT_EQ(apr_pool_parent_get(session.setup.socket->pool), host.requestPool());
        EXPECT_STREQ(session.setup.socket->clientIp, "192.0.2.7");
        EXPECT_STREQ(session.setup.socket->hostName, "browser.example");
        EXPECT_EQ(host.chosenProtocols(), Lines{"kr-webapp-v1"});
    }
    EXPECT_EQ(stp, nullptr);
    EXPECT_EQ(capture.standardError(),
              "error test 0\n"
              "connection id: 4711\n"
              "[DEBUG] KLV::setup_socket() client_ip: 192.0.2.7\thostname: browser.example\n"
              "[DEBUG] KLV::setup_socket() setup.id: [4711] stp->id: [4711] \n");
}

TEST(SetupSocket, ToleratesAClientWithoutAddressAndName) {
    RecordingHost host({.clientIp = nullptr, .hostName = nullptr});
    const LogCapture capture;
    BareSession session;
    ASSERT_EQ(session.setup_socket(host.server()), 0);
    EXPECT_EQ(session.setup.socket->clientIp, nullptr);
    EXPECT_THAT(capture.standardError(),
                testing::HasSubstr("[DEBUG] KLV::setup_socket() client_ip: \thostname: \n"));
}

TEST(SetupSocket, FailsWithoutAServer) {
    const LogCapture capture;
    BareSession session;
    EXPECT_EQ(session.setup_socket(nullptr), -1);
    EXPECT_EQ(capture.standardError(), "error test 0\n");
}

TEST(SetupSocket, FailsForAnotherVersionOfTheInterface) {
    for (const unsigned version : {0U, 2U}) {
        RecordingHost host({.version = version});
        const LogCapture capture;
        expectSetupFails(host);
        EXPECT_THAT(capture.standardError(), testing::Not(testing::HasSubstr("connection id")));
        EXPECT_THAT(host.chosenProtocols(), IsEmpty());
    }
}

TEST(SetupSocket, FailsWithoutARequest) {
    RecordingHost host({.withRequest = false});
    const LogCapture capture;
    expectSetupFails(host);
    EXPECT_THAT(capture.standardError(), testing::HasSubstr("connection id: 0\n"));
    EXPECT_THAT(host.chosenProtocols(), IsEmpty());
}

TEST(SetupSocket, FailsWithoutTheSubProtocol) {
    RecordingHost host({.protocols = {"kr-webapp-v2", "kr-webapp-v1x"}});
    const LogCapture capture;
    expectSetupFails(host);
    EXPECT_THAT(host.chosenProtocols(), IsEmpty());
}

TEST(SetupSocket, FailsWithoutAPool) {
    RecordingHost host;
    const LogCapture capture;
    aprFaults.failPoolCreate = true;
    expectSetupFails(host);
    aprFaults.failPoolCreate = false;
    aprFaults.leavePoolNull = true;
    expectSetupFails(host);
    aprFaults.leavePoolNull = false;
}

TEST(SetupSocket, GivesThePoolBackWhenThereIsNoRoomForTheRecord) {
    RecordingHost host;
    const LogCapture capture;
    failingAprAllocationSize = sizeof(LvSocket);
    expectSetupFails(host);
    failingAprAllocationSize = 0;
    EXPECT_NE(aprFaults.createdPool, nullptr);
    EXPECT_EQ(aprFaults.destroyedPool, aprFaults.createdPool);
}

TEST(FailedSession, StartsNothingAndTellsNobody) {
    RecordingHost host({.protocols = {"kr-webapp-v2", "kr-webapp-v1x"}});
    const LogCapture capture;
    const LvWebsocket session(host.server());
    EXPECT_EQ(stp, nullptr);
    EXPECT_EQ(session.isKeepAliveActive(), 0U);
    EXPECT_THAT(host.frames(), IsEmpty());
    EXPECT_THAT(host.chosenProtocols(), IsEmpty());
    EXPECT_EQ(getThreadName().find("live_view"), std::string::npos);
    EXPECT_THAT(capture.logLines("start_modules"), IsEmpty());
}

TEST(FailedSession, AnswersNothingWhateverItIsSent) {
    RecordingHost host({.protocols = {"chat"}});
    const LogCapture capture;
    LvWebsocket session(host.server());
    const Lines commands = {
        "ping",
        "get_logger_info",
        "get_logger_status",
        "get_ksl_network",
        "get_ksl_time_offset",
        "get_bus_names",
        "get_configs",
        "signal_forwarding_start",
        "get_trigger",
        "get_audio_list",
        "start_monitor",
        "close_webapp",
        "nonsense",
    };
    const auto send = [&session](const std::string& frame) {
        session.wa_handle_message(reinterpret_cast<const unsigned char*>(frame.data()),
                                  static_cast<unsigned>(frame.size()));
    };
    for (const std::string& command : commands) {
        send(R"({"command":")" + command + R"("})");
    }
    kslInfo->configState = KSL_MSG_STATE_COMPLETE;
    kslInfo->timeZoneState = KSL_MSG_STATE_COMPLETE;
    kslInfo->deviceComponentsState = KSL_MSG_STATE_COMPLETE;
    kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
    for (const char* command : {"get_configs", "busload_stop", "signal_forwarding_stop",
                                "get_audio_list", "stop_monitor", "close_webapp", "nonsense"}) {
        send(std::string(R"({"command":")") + command + R"("})");
    }
    for (const char* frame : {"", "{}", "undefined", "[", "[]", "{\"a\":1}", "{\"command\":5}"}) {
        send(frame);
    }
    session.wa_binary_handle_message(reinterpret_cast<const unsigned char*>("abc"), 3);
    EXPECT_THAT(host.frames(), IsEmpty());
    EXPECT_EQ(host.closeCalls(), 0U);
}

TEST(FailedSession, LogsEveryStopLineAndSkipsThePool) {
    RecordingHost host({.protocols = {"chat"}});
    const LogCapture capture;
    { const LvWebsocket session(host.server()); }
    EXPECT_EQ(destructorLines(capture), kTeardownOfAFailedSession);
    EXPECT_EQ(capture.logLines().back(), "[DEBUG] KLV::~LvWebsocket() LvWebsocket destroyed");
    EXPECT_THAT(host.frames(), IsEmpty());
}

TEST(FailedSession, OfADefaultConstructorEndsTheSameWay) {
    const LogCapture capture;
    { const LvWebsocket session; }
    EXPECT_EQ(destructorLines(capture), kTeardownOfAFailedSession);
}

TEST(SessionEnd, DropsAPendingUploadAndTheNetworkRecord) {
    uploadfileInfo.announce(std::make_shared<UploadInfo>("a", "b"));
    const LogCapture capture;
    { const LvWebsocket session; }
    EXPECT_EQ(uploadfileInfo.get(), nullptr);
    EXPECT_EQ(kslInfo, nullptr);
    { const LvWebsocket second; }
    EXPECT_EQ(kslInfo, nullptr);
    Lines lines = kTeardownOfAFailedSession;
    const Lines twice = destructorLines(capture);
    ASSERT_EQ(twice.size(), 2 * lines.size() - 1);
    lines.erase(lines.begin() + 9);  // there is no network record to delete any more
    EXPECT_EQ(Lines(twice.begin() + 12, twice.end()), lines);
}

TEST(SessionEnd, SaysThatTheUploadIsDeletedAlsoWhereThereWasNone) {
    ASSERT_EQ(uploadfileInfo.get(), nullptr);
    const LogCapture capture;
    { const LvWebsocket session; }
    const Lines lines = destructorLines(capture);
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "[DEBUG] KLV::~LvWebsocket() uploadfileInfo deleted"),
              1);
}

TEST(SessionEnd, TakesAllOtherStepsWhereOneLacksMemory) {
    // As the first step puts its line together.
    const std::string first =
        KRSystem::uint64ToUTCTimeString(KRSystem::getTimeOfDay(), true) + ": delete websocket";
    const LogCapture capture;
    {
        const LvWebsocket session;
        failingAllocationSize = first.capacity() + 1;
    }
    EXPECT_EQ(std::exchange(failingAllocationSize, 0), 0U) << "no allocation has failed";
    Lines lines = kTeardownOfAFailedSession;
    lines.front() = "[ERROR] KLV::~LvWebsocket() std::bad_alloc";
    EXPECT_EQ(destructorLines(capture), lines);
}

TEST(SessionEnd, LeavesTheSetupRecordOfAnotherSessionAlone) {
    RecordingHost host;
    const LogCapture capture;
    BareSession current;
    ASSERT_EQ(current.setup_socket(host.server()), 0);
    { const LvWebsocket other; }
    EXPECT_EQ(stp, &current.setup);
}
