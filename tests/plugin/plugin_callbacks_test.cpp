// The plug-in as a host sees it: its record, its callbacks and their banners.
#include "plugin/plugin_callbacks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>

#include "plugin/diagnostics.h"
#include "plugin/lv_websocket.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/recording_host.h"
#include "tests/plugin/allocation_fault.h"
#include "tests/plugin/without_times.h"

namespace {

using testing::HasSubstr;

const std::string kStars(40, '*');

// A connection whose browser offers no sub-protocol of ours: a session without threads.
class PluginCallbacks : public testing::Test {
  protected:
    void SetUp() override { capture_.clear(); }

    void onMessage(int type, const std::string& payload) {
        std::string buffer = payload;
        EXPECT_EQ(
            krwebsocket_on_message(nullptr, host_.server(), type,
                                   reinterpret_cast<unsigned char*>(buffer.data()), buffer.size()),
            0U);
    }
    // What one frame writes to standard error.
    std::string writtenFor(int type, const std::string& payload) {
        capture_.clear();
        onMessage(type, payload);
        return capture_.standardError();
    }

    RecordingHost host_{{.protocols = {"chat"}}};
    LogCapture capture_;
};

}  // namespace

TEST(PluginRecord, IsTheSameOnEveryCall) {
    WebSocketPlugin* record = krwebsocket_init();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(krwebsocket_init(), record);
    EXPECT_EQ(record->size, sizeof(WebSocketPlugin));
    EXPECT_EQ(record->version, 0U);
    EXPECT_EQ(record->destroy, nullptr);
    EXPECT_EQ(record->on_connect, &krwebsocket_on_connect);
    EXPECT_EQ(record->on_message, &krwebsocket_on_message);
    EXPECT_EQ(record->on_disconnect, &krwebsocket_on_disconnect);
}

TEST(PluginRecord, IsGivenWithoutAWordAndWithoutASession) {
    const LogCapture capture;
    krwebsocket_init();
    EXPECT_EQ(capture.standardOutput() + capture.standardError(), "");
    EXPECT_EQ(lvWebsocket, nullptr);
}

TEST_F(PluginCallbacks, OnConnectWritesItsBannersAroundTheSession) {
    const void* pluginPrivate = krwebsocket_on_connect(host_.server());
    EXPECT_STREQ(static_cast<const char*>(pluginPrivate), "Hello");
    EXPECT_NE(lvWebsocket, nullptr);
    EXPECT_EQ(capture_.standardOutput(), "debug test 0\n");
    EXPECT_EQ(withoutTimes(capture_.standardError()),
              "\n" + kStars + "\n" + "krwebsocket_on_connect()\n" + "connection id: 17\n" + kStars +
                  "\n" + "error test 0\n" + "LvWebsocket()\n" + "LvWebsocket()\n" +
                  "[INFO] KLV::LvWebsocket() create a new LvWebsocket\n" +
                  "[INFO] KLV::LvWebsocket() <time>: create a new LvWebsocket\n" +
                  "connection id: 17\n" + "\n" + kStars + "\n" + "krwebsocket opened!!!\n" +
                  kStars + "\n");
    lv_destroy();
}

TEST_F(PluginCallbacks, OnDisconnectWritesItsBannersAroundTheTeardown) {
    krwebsocket_on_connect(host_.server());
    capture_.clear();
    krwebsocket_on_disconnect(nullptr, host_.server());
    EXPECT_EQ(lvWebsocket, nullptr);
    const std::string text = capture_.standardError();
    const std::string before = "\n" + kStars + "\n" + "krwebsocket_on_disconnect\n" +
                               "connection id: 17\n" + kStars + "\n" +
                               "[INFO] KLV::lv_destroy() destroy LvWebsocket\n" +
                               "[DEBUG] KLV::lv_destroy() thread_ping_run->isActive()=0\n";
    const std::string after =
        "[DEBUG] KLV::lv_destroy() LvWebsocket destroyed\n"
        "[DEBUG] KLV::lv_destroy() finished\n"
        "\n**************************************\nFinished\n" +
        kStars + "\n";
    EXPECT_THAT(text, testing::StartsWith(before));
    EXPECT_THAT(text, testing::EndsWith(after));
}

TEST_F(PluginCallbacks, OnDisconnectWithoutAServerLeavesTheSessionAlive) {
    krwebsocket_on_connect(host_.server());
    LvWebsocket* session = lvWebsocket;
    capture_.clear();
    krwebsocket_on_disconnect(nullptr, nullptr);
    EXPECT_EQ(lvWebsocket, session);
    EXPECT_EQ(capture_.standardError(),
              "\n**************************************\nFinished\n" + kStars + "\n");
    lv_destroy();
}

TEST_F(PluginCallbacks, LvDestroyToleratesThatThereIsNoSession) {
    lv_destroy();
    EXPECT_EQ(capture_.standardOutput(),
              "[INFO] KLV::lv_destroy() destroy LvWebsocket\n"
              "[DEBUG] KLV::lv_destroy() thread_ping_run->isActive()=0\n"
              "[DEBUG] KLV::lv_destroy() LvWebsocket destroyed\n"
              "[DEBUG] KLV::lv_destroy() finished\n");
}

TEST_F(PluginCallbacks, OnConnectReplacesASessionWithoutDeletingIt) {
    krwebsocket_on_connect(host_.server());
    const std::unique_ptr<LvWebsocket> first(lvWebsocket);
    krwebsocket_on_connect(host_.server());
    EXPECT_NE(lvWebsocket, first.get());
    lv_destroy();
}

TEST_F(PluginCallbacks, OnConnectLetsTheConstructorsExceptionOut) {
    failingAllocationSize = sizeof(LvWebsocket);
    EXPECT_THROW(krwebsocket_on_connect(host_.server()), std::bad_alloc);
    EXPECT_EQ(lvWebsocket, nullptr);
    EXPECT_THAT(capture_.standardError(), testing::Not(HasSubstr("krwebsocket opened!!!")));
}

TEST_F(PluginCallbacks, AnExceptionOfTheConstructorLeavesTheFormerSession) {
    krwebsocket_on_connect(host_.server());
    LvWebsocket* session = lvWebsocket;
    host_.server()->protocol_count = [](const WebSocketServer*) -> size_t {
        throw std::runtime_error("no");
    };
    EXPECT_THROW(krwebsocket_on_connect(host_.server()), std::runtime_error);
    EXPECT_EQ(lvWebsocket, session);
    lv_destroy();
}

TEST_F(PluginCallbacks, OnMessageHandsATextFrameToTheSession) {
    krwebsocket_on_connect(host_.server());
    EXPECT_EQ(writtenFor(WEBSOCKET_MESSAGE_TEXT, "hello"),
              "hello\n[ERROR] KLV::wa_setup_document() failed to parse webapp buffer: Invalid "
              "value. At Position: 0. (hello)\n"
              "[DEBUG] KLV::createAndSendJSON_simple() Invalid server\n");
    lv_destroy();
}

TEST_F(PluginCallbacks, OnMessageAnnouncesABinaryFrameAndHandsItToTheSession) {
    krwebsocket_on_connect(host_.server());
    EXPECT_THAT(
        writtenFor(WEBSOCKET_MESSAGE_BINARY, "abcd"),
        testing::StartsWith("MESSAGE_TYPE_BINARY received\n"
                            "[DEBUG] KLV::wa_binary_handle_message() binary_handle_message. Size: "
                            "4\n"));
    lv_destroy();
}

TEST_F(PluginCallbacks, OnMessageShowsACloseFrameAndItsConnection) {
    EXPECT_EQ(writtenFor(WEBSOCKET_MESSAGE_CLOSE, "bye"),
              "\nMESSAGE_TYPE_CLOSE received\n\nbye\nconnection id: 17\n");
    EXPECT_EQ(writtenFor(WEBSOCKET_MESSAGE_CLOSE, ""),
              "\nMESSAGE_TYPE_CLOSE received\n\n\nconnection id: 17\n");
}

TEST_F(PluginCallbacks, OnMessageOnlyNamesTheOtherFrames) {
    EXPECT_EQ(writtenFor(WEBSOCKET_MESSAGE_PING, "x"), "PING received\n");
    EXPECT_EQ(writtenFor(WEBSOCKET_MESSAGE_PONG, "x"), "PONG received\n");
    EXPECT_EQ(writtenFor(WEBSOCKET_MESSAGE_INVALID, "x"), "MESSAGE_TYPE_INVALID received\n");
    for (const int type : {1, 127, 129, 254, 258, -2}) {
        EXPECT_EQ(writtenFor(type, "x"), "unknown message type received\n") << type;
    }
    EXPECT_TRUE(host_.frames().empty());
}

TEST_F(PluginCallbacks, OnMessageCatchesAndLogsWhatAFrameThrows) {
    krwebsocket_on_connect(host_.server());
    host_.server()->request = [](const WebSocketServer*) -> request_rec* {
        throw std::runtime_error("no request");
    };
    EXPECT_EQ(writtenFor(WEBSOCKET_MESSAGE_CLOSE, "bye"),
              "\nMESSAGE_TYPE_CLOSE received\n\nbye\n"
              "[ERROR] KLV::krwebsocket_on_message() exception while handling a message: no "
              "request\n");
    host_.server()->request = [](const WebSocketServer*) -> request_rec* { throw 5; };
    EXPECT_THAT(writtenFor(WEBSOCKET_MESSAGE_CLOSE, ""),
                HasSubstr("[ERROR] KLV::krwebsocket_on_message() exception while handling a "
                          "message: of an unknown type\n"));
    lv_destroy();
}

TEST(PrintBuffer, WritesTheBytesAndALineEnd) {
    const LogCapture capture;
    print_buffer(reinterpret_cast<const unsigned char*>("a\0%s\xFF"), 5);
    EXPECT_EQ(capture.standardError(), std::string("a\0%s\xFF\n", 6));
}

TEST(PrintBuffer, WritesTheLineEndAloneWithoutBytes) {
    const LogCapture capture;
    print_buffer(reinterpret_cast<const unsigned char*>("abc"), 0);
    print_buffer(reinterpret_cast<const unsigned char*>("abc"), -1);
    print_buffer(nullptr, 3);
    EXPECT_EQ(capture.standardError(), "\n\n\n");
}

TEST(PrintConnectionInfo, WritesTheNumberOfTheConnection) {
    RecordingHost host({.connectionId = 2147483647});
    const LogCapture capture;
    print_connection_info(host.server());
    EXPECT_EQ(capture.standardError(), "connection id: 2147483647\n");
}

TEST(PrintConnectionInfo, WritesZeroWithoutARequestOrAServer) {
    RecordingHost host({.withRequest = false});
    const LogCapture capture;
    print_connection_info(host.server());
    print_connection_info(nullptr);
    EXPECT_EQ(capture.standardError(), "connection id: 0\nconnection id: 0\n");
}
