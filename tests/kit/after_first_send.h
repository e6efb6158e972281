// Acting in the middle of what the plug-in sends.
#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include "tests/kit/recording_host.h"

/// `action` runs once, when the first frame after its construction has been recorded and before the
/// plug-in's send returns, on the thread that sends. One at a time.
class AfterFirstSend {
  public:
    AfterFirstSend(RecordingHost& host, std::function<void()> action)
        : server_(*host.server()), original_(server_.send), action_(std::move(action)) {
        current = this;
        server_.send = [](const WebSocketServer* server, int type, const unsigned char* buffer,
                          std::size_t size) {
            const std::size_t sent = current->original_(server, type, buffer, size);
            if (!current->done_.exchange(true)) {
                current->action_();
            }
            return sent;
        };
    }
    ~AfterFirstSend() { server_.send = original_; }
    AfterFirstSend(const AfterFirstSend&) = delete;
    AfterFirstSend& operator=(const AfterFirstSend&) = delete;

  private:
    inline static AfterFirstSend* current = nullptr;

    WebSocketServer& server_;
    const decltype(WebSocketServer::send) original_;
    const std::function<void()> action_;
    std::atomic<bool> done_{false};
};
