#include "plugin/plugin_callbacks.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <limits>
#include <string>

#include "base/log.h"
#include "json/websocket_send.h"
#include "plugin/diagnostics.h"
#include "plugin/lv_websocket.h"

LvWebsocket* lvWebsocket = nullptr;

namespace {

constexpr const char* kStars = "****************************************\n";
constexpr const char* kStarsAfterBlankLine = "\n****************************************\n";
/// Fixed text: two stars fewer than the others.
constexpr const char* kFinishedStars = "\n**************************************\n";

void writeBanner(const char* text) {
    std::fputs(text, stderr);
    std::fflush(stderr);
}

/// Sends the browser away from a session that would leave it waiting: it comes again, to another
/// process, when there may be threads to be had. Not earlier than at its first frame: a host may
/// take nothing before on_connect has returned. Whether that was so.
bool sendAwayWithoutThreads() {
    if (lvWebsocket == nullptr || !lvWebsocket->lacksThreads()) {
        return false;
    }
    LogUtil::log(LogLevel::Error, "krwebsocket_on_message",
                 "the session has no threads, so the browser is sent away");
    closeWebwsocket();
    return true;
}

void dispatchMessage(const _WebSocketServer* server, int type, const unsigned char* buffer,
                     unsigned size) {
    switch (type) {
        case WEBSOCKET_MESSAGE_TEXT:
            if (!sendAwayWithoutThreads()) {
                lv_handle_message(buffer, size);
            }
            break;
        case WEBSOCKET_MESSAGE_BINARY:
            writeBanner("MESSAGE_TYPE_BINARY received\n");
            if (!sendAwayWithoutThreads()) {
                binary_handle_message(reinterpret_cast<const char*>(buffer), size);
            }
            break;
        case WEBSOCKET_MESSAGE_CLOSE:
            writeBanner("\nMESSAGE_TYPE_CLOSE received\n\n");
            print_buffer(buffer, static_cast<int>(size));
            print_connection_info(server);
            break;
        case WEBSOCKET_MESSAGE_PING:
            writeBanner("PING received\n");
            break;
        case WEBSOCKET_MESSAGE_PONG:
            writeBanner("PONG received\n");
            break;
        case WEBSOCKET_MESSAGE_INVALID:
            writeBanner("MESSAGE_TYPE_INVALID received\n");
            break;
        default:
            writeBanner("unknown message type received\n");
            break;
    }
}

void logException(const char* what) {
    LogUtil::logPieces(LogLevel::Error, "krwebsocket_on_message",
                       {"exception while handling a message: ", what});
}

}  // namespace

void* krwebsocket_on_connect(const _WebSocketServer* server) {
    writeBanner(kStarsAfterBlankLine);
    writeBanner("krwebsocket_on_connect()\n");
    print_connection_info(server);
    writeBanner(kStars);
    new_LvWebsocket(server);
    writeBanner(kStarsAfterBlankLine);
    writeBanner("krwebsocket opened!!!\n");
    writeBanner(kStars);
    // The interface has a pointer to something that may be changed; this is not, by anybody.
    return const_cast<char*>("Hello");
}

std::size_t krwebsocket_on_message(void*, const _WebSocketServer* server, int type,
                                   unsigned char* buffer, std::size_t size) {
    constexpr std::size_t kLongest = std::numeric_limits<unsigned>::max();
    try {
        dispatchMessage(server, type, buffer, static_cast<unsigned>(std::min(size, kLongest)));
    } catch (const std::exception& exception) {
        logException(exception.what());
    } catch (...) {
        logException("of an unknown type");
    }
    return 0;
}

void krwebsocket_on_disconnect(void*, const _WebSocketServer* server) {
    if (server != nullptr) {
        writeBanner(kStarsAfterBlankLine);
        writeBanner("krwebsocket_on_disconnect\n");  // fixed text: no "()" here
        print_connection_info(server);
        writeBanner(kStars);
        lv_destroy();
    }
    writeBanner(kFinishedStars);
    writeBanner("Finished\n");
    writeBanner(kStars);
}

void new_LvWebsocket(const _WebSocketServer* server) {
    lvWebsocket = new LvWebsocket(server);
}

void lv_handle_message(const unsigned char* data, unsigned size) {
    lvWebsocket->wa_handle_message(data, size);
}

void binary_handle_message(const char* data, unsigned size) {
    lvWebsocket->wa_binary_handle_message(reinterpret_cast<const unsigned char*>(data), size);
}

void lv_destroy() {
    LogUtil::log(LogLevel::Info, "lv_destroy", "destroy LvWebsocket");
    const unsigned active = lvWebsocket != nullptr ? lvWebsocket->isKeepAliveActive() : 0;
    LogUtil::logPieces(LogLevel::Debug, "lv_destroy",
                       {"thread_ping_run->isActive()=", std::to_string(active)});
    delete lvWebsocket;
    lvWebsocket = nullptr;
    LogUtil::log(LogLevel::Debug, "lv_destroy", "LvWebsocket destroyed");
    LogUtil::log(LogLevel::Debug, "lv_destroy", "finished");
}
