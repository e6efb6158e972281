#pragma once

#include "host/websocket_plugin.h"

namespace websocket {

class Connection;

/// The record through which a plug-in reaches this connection.
WebSocketServer makeServerRecord(Connection& connection);

}  // namespace websocket
