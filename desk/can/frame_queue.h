// Frames on their way from the thread that reads them to the one that uses them.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

#include "desk/can/frame.h"

namespace desk::can {

/// A bounded queue. All threads.
class FrameQueue {
  public:
    explicit FrameQueue(std::size_t most = 200'000) : most_(most) {}

    /// Waits while the queue is full, which holds up the program that writes into a pipe; nothing
    /// is lost. False once the queue is closed.
    bool put(const Frame& frame);
    /// Does not wait; false when there is no room, and the frame is lost.
    bool offer(const Frame& frame);
    /// Appends all that wait.
    void takeAll(std::vector<Frame>& frames);
    /// Nobody will take frames any more: wakes who waits.
    void close();

  private:
    const std::size_t most_;
    std::mutex mutex_;
    std::condition_variable hasRoom_;
    std::vector<Frame> frames_;
    bool isClosed_ = false;
};

}  // namespace desk::can
