#pragma once

#include <atomic>

#include "host/protocol/output_port.h"

namespace websocket {

/// Writes straight to a connected socket, which it does not own.
class SocketPort : public OutputPort {
  public:
    explicit SocketPort(int descriptor) : descriptor_(descriptor) {}

    Status write(const iovec* pieces, int count, std::size_t& taken) override;
    std::uint64_t written() const override { return written_; }
    bool holdsOutput() const override { return false; }
    int descriptor() const override { return descriptor_; }

    /// How many bytes the system has received on the socket so far, whether they have been read or
    /// not; 0 where it does not count them, as for sockets that are not TCP.
    std::uint64_t arrived() const;
    /// How many of them have not been read yet.
    std::size_t unread() const;

  private:
    const int descriptor_;
    std::atomic<std::uint64_t> written_{0};
};

}  // namespace websocket
