// A websocket client that does as little as possible: what it costs must not show where the other
// side is measured.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "packaging/probe/byte_channel.h"

/// How a server lets a client in that does not simply take everybody.
struct WebSocketAccess {
    std::string
        certificate;    ///< file of the certificate that it shows; without one there is no TLS
    std::string login;  ///< "name:password", or nothing
};

/// One connection to this machine; owns its socket. Frames are read whole but not checked; pings
/// are not answered. Not for two threads at once, except that one may send while another reads.
/// What goes wrong is a std::runtime_error that says what.
class WebSocketStream {
  public:
    /// Types of frames.
    static constexpr unsigned int kText = 1;
    static constexpr unsigned int kBinary = 2;
    static constexpr unsigned int kClose = 8;
    static constexpr unsigned int kPing = 9;
    static constexpr unsigned int kPong = 10;

    /// What to do with a frame: its type and payload.
    using OnFrame = std::function<void(unsigned int type, std::string_view payload)>;

    /// Connects to ws://127.0.0.1:<port><path> and shakes hands, with `patience` for each piece of
    /// the answer. The server has to choose `protocol`, unless that is empty. Takes `readSize`
    /// bytes at once from the system, more only for a larger frame.
    WebSocketStream(std::uint16_t port, const std::string& path, const std::string& protocol,
                    std::size_t readSize = std::size_t{1} << 20,
                    std::chrono::seconds patience = std::chrono::seconds(30),
                    const WebSocketAccess& access = {});
    WebSocketStream(const WebSocketStream&) = delete;
    WebSocketStream& operator=(const WebSocketStream&) = delete;

    void sendText(std::string_view payload) { sendFrame(makeFrame(kText, payload)); }
    void sendBinary(std::string_view payload) { sendFrame(makeFrame(kBinary, payload)); }

    /// A frame that is made beforehand and sent as often as one likes.
    static std::string makeFrame(unsigned int type, std::string_view payload);
    void sendFrame(std::string_view frame);

    /// Waits up to `milliseconds` for the first byte of an answer; false when none has come.
    bool hasAnswer(int milliseconds) const;

    /// For waiting for many connections at once.
    int descriptor() const { return channel_->descriptor(); }

    /// Waits up to `milliseconds` for bytes and hands on the frames that are complete. False when
    /// the connection has ended.
    bool read(int milliseconds, const OnFrame& onFrame);

  private:
    void shakeHands(std::uint16_t port, const std::string& path, const std::string& protocol,
                    const std::string& login);
    std::string readAnswer() const;
    std::size_t handOn(const OnFrame& onFrame) const;

    std::unique_ptr<ByteChannel> channel_;
    std::vector<char> buffer_;
    std::size_t filled_ = 0;
};
