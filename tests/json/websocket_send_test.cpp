#include "json/websocket_send.h"

#include <gtest/gtest.h>

#include <cstring>

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
