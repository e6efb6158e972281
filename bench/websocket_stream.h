// A websocket client that does as little as possible: what it costs must not show.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// One connection to this machine. Frames are read whole but not checked; pings are not answered.
// Not for two threads at once, except that one may send while another reads.
class WebSocketStream {
  public:
    // What to do with a frame: its type (1 text, 2 binary, 8 close) and payload.
    using OnFrame = std::function<void(unsigned int type, std::string_view payload)>;

    // Connects and shakes hands. Takes `readSize` bytes at once from the system, more only for a
    // larger frame. Throws std::runtime_error.
    WebSocketStream(std::uint16_t port, const std::string& path, const std::string& protocol,
                    std::size_t readSize = std::size_t{1} << 20);
    ~WebSocketStream();
    WebSocketStream(const WebSocketStream&) = delete;
    WebSocketStream& operator=(const WebSocketStream&) = delete;

    void sendText(std::string_view payload) { sendFrame(makeFrame(1, payload)); }
    void sendBinary(std::string_view payload) { sendFrame(makeFrame(2, payload)); }

    // A frame that is made beforehand and sent as often as one likes.
    static std::string makeFrame(unsigned int type, std::string_view payload);
    void sendFrame(std::string_view frame);

    // Waits up to `milliseconds` for the first byte of an answer; false when none has come.
    bool hasAnswer(int milliseconds) const;

    // Waits up to `milliseconds` for bytes and hands on the frames that are complete. False when
    // the connection has ended.
    bool read(int milliseconds, const OnFrame& onFrame);

  private:
    std::size_t handOn(const OnFrame& onFrame) const;

    int socket_ = -1;
    std::vector<char> buffer_;
    std::size_t filled_ = 0;
};

// A TCP connection to this machine; the caller closes it. Throws std::runtime_error.
int connectToLoopback(std::uint16_t port);
// Sends all of it. Throws std::runtime_error.
void sendAll(int socket, std::string_view bytes);
