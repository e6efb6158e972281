#pragma once

#include <cstddef>
#include <cstdint>

namespace websocket {

/// Where received bytes come from. Never waits.
class ByteSource {
  public:
    enum class Status { Data, Nothing, Ended };

    virtual ~ByteSource() = default;

    /// Copies up to `size` bytes that have arrived. `Data`: `got` is above 0. `Nothing`: none for
    /// now. `Ended`: the peer will send no more, or the connection is broken.
    virtual Status read(std::uint8_t* buffer, std::size_t size, std::size_t& got) = 0;
};

}  // namespace websocket
