// The plug-in's C functions: the one that the web server's websocket module looks up, the callbacks
// that it then calls, and what they do for the one session of the process.
//
// The host calls the callbacks of a connection one at a time on the connection's thread; nothing
// here locks. Only krwebsocket_init is exported, everything else is reached through its record.
#pragma once

#include <cstddef>

#include "host/websocket_plugin.h"

class LvWebsocket;

/// The session: created by a connect, deleted by the disconnect, null in between.
extern LvWebsocket* lvWebsocket;

extern "C" {

// The plug-in's record, the same one on every call. Allocates and logs nothing.
__attribute__((visibility("default"))) WebSocketPlugin* krwebsocket_init();

// Opens a session. Returns the constant string "Hello" as the plug-in's private pointer, which the
// other callbacks ignore. Exceptions of the session's constructor go to the host.
void* krwebsocket_on_connect(const _WebSocketServer* server);

// Handles one frame; always 0. No exception leaves it: what a frame throws is logged.
std::size_t krwebsocket_on_message(void* pluginPrivate, const _WebSocketServer* server, int type,
                                   unsigned char* buffer, std::size_t size);

// Ends the session. Without a server it only says that it has finished.
void krwebsocket_on_disconnect(void* pluginPrivate, const _WebSocketServer* server);

// Makes a new session the current one. A former one is not deleted: the host has disconnected it.
// If the constructor throws, `lvWebsocket` stays as it was.
void new_LvWebsocket(const _WebSocketServer* server);

// Hand a frame to the session, which must be there.
void lv_handle_message(const unsigned char* data, unsigned size);
void binary_handle_message(const char* data, unsigned size);

// Deletes the session, if there is one.
void lv_destroy();

}  // extern "C"
