#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "packaging/probe/websocket_stream.h"

/// A websocket client on loopback that asks and waits for answers, for one thread. It answers pings
/// and ends politely. Everything that goes wrong is a std::runtime_error that says what.
class WebSocketClient {
  public:
    using Clock = std::chrono::steady_clock;

    /// Connects to ws[s]://127.0.0.1:<port><path> and offers one sub-protocol, which the server has
    /// to choose. Whatever is waited for has to come before the deadline.
    WebSocketClient(std::uint16_t port, const std::string& path, const std::string& protocol,
                    Clock::time_point deadline, const WebSocketAccess& access = {});
    ~WebSocketClient();
    WebSocketClient(const WebSocketClient&) = delete;
    WebSocketClient& operator=(const WebSocketClient&) = delete;

    void send(std::string_view text) { stream_.sendText(text); }

    /// The next text message.
    std::string receive();

  private:
    void take(unsigned int type, std::string_view payload);

    Clock::time_point deadline_;
    WebSocketStream stream_;
    std::deque<std::string> messages_;
    bool closed_ = false;
};
