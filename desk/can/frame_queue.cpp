#include "desk/can/frame_queue.h"

namespace desk::can {

bool FrameQueue::put(const Frame& frame) {
    std::unique_lock lock(mutex_);
    hasRoom_.wait(lock, [this] { return isClosed_ || frames_.size() < most_; });
    if (!isClosed_) {
        frames_.push_back(frame);
    }
    return !isClosed_;
}

bool FrameQueue::offer(const Frame& frame) {
    const std::lock_guard lock(mutex_);
    if (frames_.size() >= most_) {
        return false;
    }
    frames_.push_back(frame);
    return true;
}

void FrameQueue::takeAll(std::vector<Frame>& frames) {
    const std::lock_guard lock(mutex_);
    if (frames.empty()) {
        frames.swap(frames_);
    } else {
        frames.insert(frames.end(), frames_.begin(), frames_.end());
        frames_.clear();
    }
    hasRoom_.notify_all();
}

void FrameQueue::close() {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    hasRoom_.notify_all();
}

}  // namespace desk::can
