#include "json/websocket_send.h"

#include <apr_hooks.h>
#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

#include "host/websocket_hold.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"

namespace {

const unsigned char* bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

}  // namespace

TEST(SendWebsocketMessage, SendsTheBytesAsOneTextFrame) {
    WorkerSession session;
    sendWebsocketMessage(bytes("{\"a\": 1} and more"), 8);
    ASSERT_EQ(session.host.frames().size(), 1U);
    EXPECT_EQ(session.host.frames()[0].type, WEBSOCKET_MESSAGE_TEXT);
    EXPECT_EQ(session.host.frames()[0].payload, "{\"a\": 1}");
}

TEST(SendWebsocketMessage, LogsAMissingBuffer) {
    WorkerSession session;
    const LogCapture capture;
    sendWebsocketMessage(nullptr, 5);
    EXPECT_EQ(capture.standardOutput(), "[ERROR] KLV::sendWebsocketMessage() Buffer is empty\n");
    EXPECT_TRUE(session.host.frames().empty());
}

TEST(SendWebsocketMessage, DropsTheTextWithoutASession) {
    const LogCapture capture;
    sendWebsocketMessage(bytes("{}"), 2);
    EXPECT_EQ(capture.standardOutput(), "[DEBUG] KLV::sendWebsocketMessage() Invalid server\n");
}

TEST(SendWebsocketMessage, DropsTheTextOfASessionWithoutASocket) {
    WorkerSession session;
    session.setup.socket = nullptr;
    const LogCapture capture;
    sendWebsocketMessage(bytes("{}"), 2);
    EXPECT_EQ(capture.standardOutput(), "[DEBUG] KLV::sendWebsocketMessage() Invalid server\n");
}

TEST(SendWebsocketMessage, DropsTheTextOfASocketWithoutAServer) {
    WorkerSession session;
    session.setup.socket->server = nullptr;
    const LogCapture capture;
    sendWebsocketMessage(bytes("{}"), 2);
    EXPECT_EQ(capture.standardOutput(), "[DEBUG] KLV::sendWebsocketMessage() Invalid server\n");
}

TEST(CloseWebwsocket, SendsACloseFrameWithStatus1001AndLogsBeforeAndAfter) {
    WorkerSession session;
    const LogCapture capture;
    closeWebwsocket();
    ASSERT_EQ(session.host.frames().size(), 1U);
    EXPECT_EQ(session.host.frames()[0].type, WEBSOCKET_MESSAGE_CLOSE);
    EXPECT_EQ(session.host.frames()[0].payload, "\x03\xE9");
    EXPECT_EQ(session.host.closeCalls(), 0U);
    EXPECT_EQ(capture.standardOutput(),
              "[DEBUG] KLV::closeWebwsocket() Send close frame to browser\n"
              "[DEBUG] KLV::closeWebwsocket() close frame was send\n");
}

TEST(CloseWebwsocket, SendsNothingWithoutASession) {
    const LogCapture capture;
    closeWebwsocket();
    EXPECT_EQ(capture.standardOutput(),
              "[DEBUG] KLV::closeWebwsocket() Send close frame to browser\n"
              "[DEBUG] KLV::closeWebwsocket() Invalid server\n");
}

TEST(SendAndFreeText, LeavesTheTerminatingZeroByteOut) {
    WorkerSession session;
    sendAndFreeText(strdup("{}"), session.host.server(), "test");
    EXPECT_EQ(session.host.texts(), std::vector<std::string>{"{}"});
}

namespace {

/// What a host of ours is told, where a test is the host.
std::vector<std::pair<const WebSocketServer*, int>> holds;

extern "C" void websocket_hold(const WebSocketServer* server, int hold) {
    holds.emplace_back(server, hold);
}

}  // namespace

TEST(HeldFrames, TellAHostThatCanHoldThemBack) {
    WorkerSession session;
    { const HeldFrames unknown; }
    EXPECT_TRUE(holds.empty()) << "a host that does not know of it";

    apr_hook_global_pool = session.setup.socket->pool;
    APR_REGISTER_OPTIONAL_FN(websocket_hold);
    const auto* const server = session.setup.socket->server;
    {
        const HeldFrames held;
        EXPECT_EQ(holds, (decltype(holds){{server, 1}}));
    }
    EXPECT_EQ(holds, (decltype(holds){{server, 1}, {server, 0}}));
    apr_dynamic_fn_register("websocket_hold", nullptr);
}
