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

  private:
    const int descriptor_;
    std::atomic<std::uint64_t> written_{0};
};

}  // namespace websocket
