#pragma once

#include "host/apache/module.h"
#include "host/websocket_plugin.h"

namespace websocket {

/// Loads a plug-in while the configuration is read, once for each library and init function; it
/// stays until the configuration is dropped. Answers null, or the text of a configuration error.
const char* loadPlugin(cmd_parms* command, const char* library, const char* init,
                       WebSocketPlugin*& plugin);

}  // namespace websocket
