#pragma once

#include <cstddef>
#include <cstdint>

namespace websocket {

/// The one buffer in which a message is put together. It grows in place where the system can
/// (`realloc` moves pages, not bytes, for what is large), so that a large message is never held
/// twice.
class MessageBuffer {
  public:
    MessageBuffer() = default;
    ~MessageBuffer();
    MessageBuffer(const MessageBuffer&) = delete;
    MessageBuffer& operator=(const MessageBuffer&) = delete;

    /// Makes room for exactly `total` bytes of message. For a message whose length is known.
    /// False when there is no memory.
    bool reserveExactly(std::size_t total);

    /// Makes room for `total` bytes with some to spare, so that many small fragments cost linear
    /// time. False when there is no memory.
    bool reserveGrowing(std::size_t total);

    /// Appends to what is there; the room has been reserved.
    void append(const std::uint8_t* data, std::size_t size);

    /// The message, with a zero byte behind it. Valid until the buffer is changed.
    std::uint8_t* finish();

    std::size_t size() const { return size_; }

    /// Empties the buffer; gives memory back when it holds more than a small message needs.
    void clear();

  private:
    bool resize(std::size_t capacity);

    std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;  // without the byte for the zero
};

}  // namespace websocket
