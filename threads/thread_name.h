// The operating-system name of a thread, which is what ps, top and a debugger show.
#pragma once

#include <string>

struct _WebSocketServer;

/// Names the calling thread "<name>_<connection number>". The kernel keeps the first 15 characters.
/// Throws nothing: threads begin with it.
void setThreadName(const std::string& name, const _WebSocketServer* server);

/// The operating-system name of the calling thread, at most 15 characters.
std::string getThreadName();
