// The half of FrameSender that writes: who does it, when, and the writer thread.

#include <poll.h>
#include <sys/prctl.h>

#include <algorithm>
#include <cerrno>

#include "host/protocol/frame_sender.h"

namespace websocket {

namespace {

/// A send within this time of the last write counts as load: it is left to the writer thread, and
/// that thread lets at least this much time pass between two small writes, so that frames gather.
constexpr std::chrono::microseconds kGather{25};
/// With this much in the queue there is nothing to be gained by gathering more.
constexpr std::size_t kEnough = 64 * 1024;

}  // namespace

bool FrameSender::hasWork() const {
    return !ring_.empty() || headDone_ < head_.size() || port_.holdsOutput();
}

bool FrameSender::writerReady() const {
    return opened_ && end_ == End::None && !draining_ && hasWork();
}

/// Whether the calling thread holds back what it sends, and there is not much of it yet.
bool FrameSender::mayWait() const {
    return holder_ == std::this_thread::get_id() && ring_.used() < kEnough &&
           ring_.used() <= ring_.free();
}

void FrameSender::wakeWriter() {
    if (writerIdle_) {
        // Once is enough: until it has run, others need not make the system call again.
        writerIdle_ = false;
        work_.notifyOne();
    } else if (gathering_ && ring_.used() >= kEnough) {
        gathering_ = false;
        work_.notifyOne();
    }
}

/// Sees to it that somebody writes what is in the queue.
void FrameSender::dispatch() {
    if (!writerReady()) {
        return;
    }
    if (!writerIdle_ || Clock::now() - lastWrite_ < kGather) {
        wakeWriter();
        return;
    }
    draining_ = true;
    bool progress = false;
    const OutputPort::Status status = writeOnce(progress);
    draining_ = false;
    lastWrite_ = Clock::now();
    if (status == OutputPort::Status::Failed) {
        killLocked(End::Broken);
    }
    if (writerReady()) {
        wakeWriter();
    }
    room_.notifyAll();
}

/// Writes as much as the socket takes at once. The caller has set draining_; the lock is given up
/// meanwhile.
OutputPort::Status FrameSender::writeOnce(bool& progress) {
    std::array<iovec, 3> pieces{};
    int count = 0;
    const std::size_t headLeft = head_.size() - headDone_;
    if (headLeft > 0) {
        pieces[0] = {head_.data() + headDone_, headLeft};
        count = 1;
    }
    count += ring_.readable(&pieces[static_cast<std::size_t>(count)]);
    mutex_.unlock();
    const std::uint64_t before = port_.written();
    std::size_t taken = 0;
    const OutputPort::Status status = port_.write(pieces.data(), count, taken);
    progress = port_.written() != before;
    mutex_.lock();
    if (end_ != End::None) {
        return status;
    }
    const std::size_t ofHead = std::min(taken, headLeft);
    headDone_ += ofHead;
    ring_.consume(taken - ofHead);
    queueWaitingControl();
    return status;
}

/// Writes until the queue is empty, or only until it has room, waiting for the socket as needed.
void FrameSender::drain(bool onlyUntilRoom) {
    draining_ = true;
    auto deadline = Clock::now() + timeout_;
    while (end_ == End::None && hasWork()) {
        bool progress = false;
        const OutputPort::Status status = writeOnce(progress);
        if (status == OutputPort::Status::Failed) {
            killLocked(End::Broken);
            break;
        }
        if (progress) {
            deadline = Clock::now() + timeout_;
            room_.notifyAll();
        }
        if (onlyUntilRoom && ring_.free() > 0) {
            break;
        }
        if (status == OutputPort::Status::Blocked && !waitWritable(deadline)) {
            killLocked(End::TimedOut);
            break;
        }
    }
    draining_ = false;
    lastWrite_ = Clock::now();
    room_.notifyAll();
}

/// Waits without the lock until the socket can be written or the connection is dead; false when the
/// time has run out.
bool FrameSender::waitWritable(Clock::time_point until) {
    mutex_.unlock();
    std::array<pollfd, 2> fds{};
    fds[0] = {port_.descriptor(), POLLOUT, 0};
    fds[1] = {dead_.descriptor(), POLLIN, 0};
    int ready = 0;
    do {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        ready = ::poll(fds.data(), fds.size(), static_cast<int>(std::max<decltype(left)>(left, 0)));
    } while (ready < 0 && errno == EINTR);
    mutex_.lock();
    return ready != 0;
}

/// Under load: lets a moment pass since the last write, so that one system call carries more.
void FrameSender::gather() {
    const auto due = lastWrite_ + kGather;
    if (ring_.used() >= kEnough || closing_ || Clock::now() >= due) {
        return;
    }
    gathering_ = true;
    while (gathering_ && !stopping_) {
        if (!work_.waitUntil(mutex_, due)) {
            break;
        }
    }
    gathering_ = false;
}

void FrameSender::run() {
    prctl(PR_SET_NAME, "ws-writer");
    // The pause in which frames gather is shorter than the usual slack of timers.
    prctl(PR_SET_TIMERSLACK, 1000UL);
    const MutexLocker lock(mutex_);
    for (;;) {
        while (!stopping_ && !writerReady()) {
            writerIdle_ = true;
            work_.wait(mutex_);
        }
        writerIdle_ = false;
        if (stopping_) {
            return;
        }
        gather();
        if (writerReady()) {
            drain(false);
        }
    }
}

}  // namespace websocket
