// The smallest useful plug-in: every message goes back as it came. It lets the websocket module be
// tested on its own.

#include "host/websocket_plugin.h"

namespace {

/// on_connect has to give something that is not null.
char session;

void* onConnect(const WebSocketServer* server) {
    if (server->protocol_count(server) > 0) {
        server->protocol_set(server, server->protocol_index(server, 0));
    }
    return &session;
}

size_t onMessage(void*, const WebSocketServer* server, int type, unsigned char* buffer,
                 size_t size) {
    if (type == WEBSOCKET_MESSAGE_TEXT || type == WEBSOCKET_MESSAGE_BINARY) {
        return server->send(server, type, buffer, size);
    }
    return 0;
}

WebSocketPlugin plugin = {
    sizeof(WebSocketPlugin), WEBSOCKET_PLUGIN_VERSION, nullptr, onConnect, onMessage, nullptr,
};

}  // namespace

extern "C" __attribute__((visibility("default"))) WebSocketPlugin* echo_init() {
    return &plugin;
}
