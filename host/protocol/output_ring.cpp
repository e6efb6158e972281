#include "host/protocol/output_ring.h"

#include <algorithm>
#include <cstring>

namespace websocket {

OutputRing::OutputRing(std::size_t capacity)
    : bytes_(std::make_unique_for_overwrite<std::uint8_t[]>(capacity)), capacity_(capacity) {}

std::size_t OutputRing::append(const std::uint8_t* data, std::size_t size) {
    const std::size_t taken = std::min(size, free());
    if (taken == 0) {
        return 0;
    }
    const std::size_t end = front_ + used_;
    const std::size_t back = end < capacity_ ? end : end - capacity_;
    const std::size_t first = std::min(taken, capacity_ - back);
    std::memcpy(bytes_.get() + back, data, first);
    if (taken > first) {
        std::memcpy(bytes_.get(), data + first, taken - first);
    }
    used_ += taken;
    return taken;
}

int OutputRing::readable(iovec* pieces) const {
    if (used_ == 0) {
        return 0;
    }
    const std::size_t first = std::min(used_, capacity_ - front_);
    pieces[0] = {bytes_.get() + front_, first};
    if (first == used_) {
        return 1;
    }
    pieces[1] = {bytes_.get(), used_ - first};
    return 2;
}

void OutputRing::consume(std::size_t size) {
    used_ -= size;
    front_ += size;
    if (front_ >= capacity_) {
        front_ -= capacity_;
    }
    if (used_ == 0) {
        front_ = 0;
    }
}

void OutputRing::clear() {
    front_ = 0;
    used_ = 0;
}

}  // namespace websocket
