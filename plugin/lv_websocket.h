// The live-view application's session: it owns the modules and the worker threads.
#pragma once

#include <cstdint>

#include "plugin/kr_websocket.h"

class ThreadData;
class ThreadKrpbusLvData;

/// Constructed, used and destroyed on the connection thread.
class LvWebsocket : public KrWebsocket {
  public:
    /// A session without a connection.
    LvWebsocket();
    /// Sets up the socket and, where that worked, starts the modules. Where it did not, the session
    /// exists without threads, modules and answers, and nobody is told.
    explicit LvWebsocket(const _WebSocketServer* server);
    /// Stops the threads, ends the modules and frees what they share, in a fixed order. The bus
    /// thread's object stays, without its connection to the bus.
    ~LvWebsocket() override;

    /// Starts the keep-alive thread, sets up the modules, starts the bus thread. 0 when both
    /// threads have started, otherwise the results of their starts or'ed.
    unsigned start_modules();

    /// Handles one text frame: parses it and offers its command to the modules in turn.
    void wa_handle_message(const unsigned char* data, unsigned size);
    /// Handles one binary frame: the data of an announced upload.
    void wa_binary_handle_message(const unsigned char* data, unsigned size);

    /// Whether the keep-alive thread is meant to run (1 or 0); 0 where there is none.
    std::uint32_t isKeepAliveActive() const;
    /// Whether one of the threads that it needs could not be started: it answers next to nothing.
    bool lacksThreads() const { return lacksThreads_; }

  private:
    void stopThreads();
    void endModules();
    void releaseSharedRecords();
    void closeBus();
    void destroyPool();

    bool lacksThreads_ = false;
    ThreadKrpbusLvData* threadKrpbusData = nullptr;  // outlives the session
    ThreadData* thread_ping_run = nullptr;           // owned by the keep-alive module
};
