// The set-up record of a session and the global pointer to the current one. Everything in the
// plug-in needs them, so this header includes nothing else of the project.
#pragma once

#include <string>

struct _WebSocketServer;
struct apr_pool_t;
class KRPBusClient;

/// What a session knows of its connection. Allocated from the session's own memory pool, which also
/// holds the strings; it goes when the pool goes.
struct LvSocket {
    const _WebSocketServer* server;
    apr_pool_t* pool;
    const char* clientIp;
    const char* hostName;
};

/// One record per session, held by the session by value and handed to every worker thread. Written
/// by the connection thread before the worker threads start and after they have been joined.
struct LvSetup {
    virtual ~LvSetup() = default;

    std::string id = "NULL";         // "[<connection id>] " once the socket is set up
    LvSocket* socket = nullptr;      // null until the socket is set up, and after its pool has gone
    std::string krpbus_name;         // the session's name on the message bus
    KRPBusClient* krpbus = nullptr;  // the bus thread's client, not owned; null without a bus
};

/// The set-up record of the current session; null while there is none. Set and cleared by the
/// connection thread; worker threads of the session may read it for as long as they run.
extern LvSetup* stp;
