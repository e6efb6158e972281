// Acting in the middle of what the plug-in sends.
#pragma once

#include <functional>
#include <utility>

#include "tests/support/recording_host.h"

// While it lives, `action` runs whenever a frame has been recorded and before the plug-in's send
// returns, on the thread that sends. One at a time.
class AfterSend {
  public:
    AfterSend(RecordingHost& host, std::function<void()> action)
        : server_(*host.server()), original_(server_.send) {
        current = this;
        action_ = std::move(action);
        server_.send = [](const WebSocketServer* server, int type, const unsigned char* buffer,
                          std::size_t size) {
            const std::size_t sent = current->original_(server, type, buffer, size);
            current->action_();
            return sent;
        };
    }
    ~AfterSend() { server_.send = original_; }
    AfterSend(const AfterSend&) = delete;
    AfterSend& operator=(const AfterSend&) = delete;

  private:
    inline static AfterSend* current = nullptr;

    WebSocketServer& server_;
    decltype(WebSocketServer::send) original_;
    std::function<void()> action_;
};
