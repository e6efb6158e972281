// A session without a web server, for what measures the way of live data to the browser.
#pragma once

#include <cstddef>
#include <string>

#include "host/websocket_plugin.h"
#include "setup/lv_setup.h"

/// The session of a browser that counts what it is sent. One at a time.
class CountingSession {
  public:
    CountingSession();
    ~CountingSession();
    CountingSession(const CountingSession&) = delete;
    CountingSession& operator=(const CountingSession&) = delete;

    std::size_t bytesSent() const { return bytesSent_; }
    /// Each text that is sent from now on is put there as well; null for nowhere. Not owned.
    void keepTextIn(std::string* text) { kept_ = text; }

  private:
    static std::size_t send(const WebSocketServer* server, int type, const unsigned char* buffer,
                            std::size_t size);

    WebSocketServer server_{};
    LvSocket socket_{};
    LvSetup setup_;
    std::size_t bytesSent_ = 0;
    std::string* kept_ = nullptr;
};
