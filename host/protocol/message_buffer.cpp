#include "host/protocol/message_buffer.h"

#include <cstdlib>
#include <cstring>
#include <limits>

namespace websocket {

namespace {

constexpr std::size_t kSmallest = 4096;
constexpr std::size_t kKept = 64 * 1024;

}  // namespace

MessageBuffer::~MessageBuffer() {
    std::free(data_);
}

bool MessageBuffer::resize(std::size_t capacity) {
    if (capacity >= std::numeric_limits<std::ptrdiff_t>::max()) {
        return false;
    }
    void* grown = std::realloc(data_, capacity + 1);
    if (grown == nullptr) {
        return false;
    }
    data_ = static_cast<std::uint8_t*>(grown);
    capacity_ = capacity;
    return true;
}

bool MessageBuffer::reserveExactly(std::size_t total) {
    if (data_ != nullptr && total <= capacity_) {
        return true;
    }
    return resize(total < kSmallest ? kSmallest : total);
}

bool MessageBuffer::reserveGrowing(std::size_t total) {
    if (data_ != nullptr && total <= capacity_) {
        return true;
    }
    const std::size_t half = capacity_ / 2;
    const std::size_t grown =
        capacity_ > std::numeric_limits<std::size_t>::max() - half ? total : capacity_ + half;
    return reserveExactly(grown > total ? grown : total);
}

void MessageBuffer::append(const std::uint8_t* data, std::size_t size) {
    if (size > 0) {
        std::memcpy(data_ + size_, data, size);
        size_ += size;
    }
}

std::uint8_t* MessageBuffer::finish() {
    if (data_ == nullptr && !resize(kSmallest)) {
        return nullptr;
    }
    data_[size_] = 0;
    return data_;
}

void MessageBuffer::clear() {
    size_ = 0;
    if (capacity_ > kKept) {
        std::free(data_);
        data_ = nullptr;
        capacity_ = 0;
    }
}

}  // namespace websocket
