// The bytes below a websocket client: over TCP as they are, or with TLS.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// One connection to this machine; owns its socket. One thread may send while another receives, but
/// with TLS only one thread may use it at all.
class ByteChannel {
  public:
    ByteChannel() = default;
    virtual ~ByteChannel() = default;
    ByteChannel(const ByteChannel&) = delete;
    ByteChannel& operator=(const ByteChannel&) = delete;

    /// Sends all of it. Throws std::runtime_error.
    virtual void send(std::string_view bytes) = 0;
    /// As recv(): the number of bytes, 0 at the end, less than 0 when nothing has come in time or
    /// the connection is broken, with errno EAGAIN in the former case.
    virtual ssize_t receive(char* buffer, std::size_t size) = 0;
    /// Whether bytes wait that the socket no longer shows.
    virtual bool hasBuffered() const = 0;
    /// For waiting until there is something to receive.
    virtual int descriptor() const = 0;
};

/// Connects to a port of 127.0.0.1; nothing is waited for longer than `patience` at once. With the
/// file of a certificate the channel has TLS, and the server must show that certificate or one that
/// it has signed, for 127.0.0.1. Throws std::runtime_error.
std::unique_ptr<ByteChannel> openChannel(std::uint16_t port, std::chrono::seconds patience,
                                         const std::string& certificate = {});

/// A TCP connection to this machine; the caller closes it. Throws std::runtime_error.
int connectToLoopback(std::uint16_t port);
/// Sends all of it. Throws std::runtime_error.
void sendAll(int socket, std::string_view bytes);
