#pragma once

#include "host/apache/module.h"
#include "host/websocket_plugin.h"

namespace websocket {

// Every call into a plug-in. A plug-in is foreign code: what it throws ends here, in the log.

/// Null when the function threw; `thrown` then holds the text, from `pool`.
WebSocketPlugin* callInit(WebSocketPluginInit init, apr_pool_t* pool, const char*& thrown);

void callDestroy(WebSocketPlugin* plugin);

/// Null refuses the connection; so does an exception.
void* callConnect(const WebSocketPlugin& plugin, const WebSocketServer& server,
                  const request_rec* request);

void callMessage(const WebSocketPlugin& plugin, void* session, const WebSocketServer& server,
                 int type, unsigned char* buffer, std::size_t size, const request_rec* request);

void callDisconnect(const WebSocketPlugin& plugin, void* session, const WebSocketServer& server,
                    const request_rec* request);

}  // namespace websocket
