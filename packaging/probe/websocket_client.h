#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct wslay_event_context;

namespace probe {

using Deadline = std::chrono::steady_clock::time_point;

/// A websocket client on loopback, for one thread. Owns its socket. Everything that goes wrong is a
/// std::runtime_error that says what.
class WebsocketClient {
  public:
    /// Connects to ws://127.0.0.1:<port><path> and offers one sub-protocol, which the server has to
    /// choose.
    WebsocketClient(std::uint16_t port, std::string_view path, std::string_view protocol,
                    Deadline deadline);
    ~WebsocketClient();
    WebsocketClient(const WebsocketClient&) = delete;
    WebsocketClient& operator=(const WebsocketClient&) = delete;

    void send(std::string_view text);

    /// The next text message.
    std::string receive();

  private:
    friend struct Callbacks;

    void connectTo(std::uint16_t port);
    void shakeHands(std::string_view path, std::string_view protocol, std::uint16_t port);
    void waitFor(short events);
    void writeAll(std::string_view bytes);

    Deadline deadline_;
    int fd_ = -1;
    wslay_event_context* context_ = nullptr;
    std::string early_;  // bytes that came right behind the server's handshake
    std::vector<std::string> messages_;
};

}  // namespace probe
