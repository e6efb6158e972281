#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace websocket {

/// A byte queue of fixed capacity. Its memory is touched only as far as it is used, and it starts
/// again at the front whenever it has run empty, so a connection with little to say stays small.
/// Not locked: its owner sees to that. While somebody writes out what `readable` names, others may
/// append, since that touches other bytes.
class OutputRing {
  public:
    explicit OutputRing(std::size_t capacity);

    bool empty() const { return used_ == 0; }
    std::size_t used() const { return used_; }
    std::size_t free() const { return capacity_ - used_; }

    /// Appends as much as there is room for and answers how much that was.
    std::size_t append(const std::uint8_t* data, std::size_t size);

    /// What is queued, oldest first, in at most two pieces, for which the caller has the room.
    /// Answers how many.
    int readable(iovec* pieces) const;

    /// Drops bytes at the front; `size` is at most `used`.
    void consume(std::size_t size);

    void clear();

  private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t capacity_;
    std::size_t front_ = 0;
    std::size_t used_ = 0;
};

}  // namespace websocket
