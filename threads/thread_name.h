// The operating-system name of a thread, which is what ps, top and a debugger show.
#pragma once

#include <string>

struct _WebSocketServer;

/// The number of the Apache connection that `server` stands for; 0 where there is none.
/// Connection thread, or any thread while the connection is alive.
long connectionId(const _WebSocketServer* server);

/// Names the calling thread "<name>_<connection number>". The kernel keeps the first 15 characters.
void setThreadName(const std::string& name, const _WebSocketServer* server);

/// The operating-system name of the calling thread, at most 15 characters.
std::string getThreadName();
