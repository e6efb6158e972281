#include "json/websocket_send.h"

#include <array>
#include <cstdlib>
#include <memory>

#include "base/log.h"
#include "host/websocket_hold.h"
#include "host/websocket_plugin.h"
#include "setup/lv_setup.h"

namespace {

void send(std::string_view text, const _WebSocketServer* server, std::string_view function) {
    if (server == nullptr) {
        LogUtil::log(LogLevel::Debug, function, "Invalid server");
        return;
    }
    server->send(server, WEBSOCKET_MESSAGE_TEXT,
                 reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

/// Unknown in a host that has no such function.
void hold(const _WebSocketServer* server, bool on) {
    const auto function = APR_RETRIEVE_OPTIONAL_FN(websocket_hold);
    if (function != nullptr && server != nullptr) {
        function(server, on ? 1 : 0);
    }
}

}  // namespace

const _WebSocketServer* currentServer() {
    const LvSetup* setup = stp;
    return setup != nullptr && setup->socket != nullptr ? setup->socket->server : nullptr;
}

void sendWebsocketMessage(const unsigned char* buffer, unsigned size) {
    if (buffer == nullptr) {
        LogUtil::log(LogLevel::Error, "sendWebsocketMessage", "Buffer is empty");
        return;
    }
    send({reinterpret_cast<const char*>(buffer), size}, currentServer(), "sendWebsocketMessage");
}

void sendMessageText(std::string_view text) {
    send(text, currentServer(), "sendMessage");
}

void sendAndFreeText(char* text, const _WebSocketServer* server, std::string_view function) {
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    if (text == nullptr) {
        LogUtil::log(LogLevel::Error, function, "Buffer is empty");
        return;
    }
    send(text, server, function);
}

HeldFrames::HeldFrames() : server_(currentServer()) {
    hold(server_, true);
}

HeldFrames::~HeldFrames() {
    hold(server_, false);
}

void closeWebwsocket() {
    LogUtil::log(LogLevel::Debug, "closeWebwsocket", "Send close frame to browser");
    const _WebSocketServer* server = currentServer();
    if (server == nullptr) {
        LogUtil::log(LogLevel::Debug, "closeWebwsocket", "Invalid server");
        return;
    }
    constexpr std::array<unsigned char, 2> kGoingAway = {0x03, 0xE9};  // 1001 in network order
    server->send(server, WEBSOCKET_MESSAGE_CLOSE, kGoingAway.data(), kGoingAway.size());
    LogUtil::log(LogLevel::Debug, "closeWebwsocket", "close frame was send");
}
