// The number by which Apache, the log and the thread names know a connection.
#pragma once

struct _WebSocketServer;

namespace klv {

/// The number of the Apache connection that `server` stands for; 0 where there is none.
/// Connection thread, or any thread while the connection is alive.
long connectionId(const _WebSocketServer* server);

}  // namespace klv
