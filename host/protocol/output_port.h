#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>

namespace websocket {

/// Where bytes to send go: the socket itself, or a TLS layer on top of it. One thread at a time
/// writes; it may be another one each time.
class OutputPort {
  public:
    enum class Status {
        Done,     ///< everything was taken, and nothing waits inside
        Blocked,  ///< the socket takes no more for now; `taken` bytes need not be offered again
        Failed,   ///< the connection is broken
    };

    virtual ~OutputPort() = default;

    /// Writes what it can of the pieces (there may be none) without waiting.
    virtual Status write(const iovec* pieces, int count, std::size_t& taken) = 0;

    /// How many bytes the socket has taken so far; only the thread that writes asks.
    virtual std::uint64_t written() const = 0;

    /// Whether bytes that were taken have not reached the socket yet. Any thread may ask.
    virtual bool holdsOutput() const = 0;

    /// The socket, to wait until it can be written.
    virtual int descriptor() const = 0;
};

}  // namespace websocket
