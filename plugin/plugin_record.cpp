// The one symbol that the plug-in exports.
#include "plugin/plugin_callbacks.h"

namespace {

/// There is nothing to destroy: a session has ended when its connection has.
constinit WebSocketPlugin pluginRecord = {
    sizeof(WebSocketPlugin), WEBSOCKET_PLUGIN_VERSION, nullptr,
    krwebsocket_on_connect,  krwebsocket_on_message,   krwebsocket_on_disconnect,
};

/// Six words: that is what hosts on the 32-bit target look for.
static_assert(sizeof(void*) != 4 || sizeof(WebSocketPlugin) == 24);

}  // namespace

WebSocketPlugin* krwebsocket_init() {
    return &pluginRecord;
}
