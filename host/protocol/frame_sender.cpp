#include "host/protocol/frame_sender.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace websocket {

namespace {

constexpr std::size_t kControlMax = 125;
constexpr std::size_t kHeaderMax = 10;

}  // namespace

bool FrameSender::ControlFrame::set(const std::uint8_t* data, std::size_t length) {
    if (length > payload.size()) {
        return false;
    }
    if (length > 0) {
        std::memcpy(payload.data(), data, length);
    }
    size = length;
    waiting = true;
    return true;
}

FrameSender::FrameSender(OutputPort& port, std::size_t capacity, std::chrono::milliseconds timeout)
    : port_(port), timeout_(timeout), ring_(capacity) {
    wslay_frame_callbacks callbacks{};
    callbacks.send_callback = &FrameSender::enqueue;
    if (wslay_frame_context_init(&context_, &callbacks, this) != 0) {
        throw std::bad_alloc();
    }
}

FrameSender::~FrameSender() {
    stop();
    wslay_frame_context_free(context_);
}

void FrameSender::start() {
    writer_ = std::thread([this] { run(); });
}

void FrameSender::open(std::string head) {
    const MutexLocker lock(mutex_);
    head_ = std::move(head);
    opened_ = true;
    room_.notifyAll();
    dispatch();
}

ssize_t FrameSender::enqueue(const std::uint8_t* data, std::size_t size, int, void* self) {
    auto& sender = *static_cast<FrameSender*>(self);
    sender.mutex_.assertHeld();  // wslay calls this from within encode()
    const std::size_t taken = sender.ring_.append(data, size);
    sender.highWater_ = std::max(sender.highWater_, sender.ring_.used());
    return taken > 0 ? static_cast<ssize_t>(taken) : -1;
}

/// Puts what fits of the frame into the queue; true when that was all (the rest).
bool FrameSender::encode(wslay_frame_iocb& frame) {
    const ssize_t taken = wslay_frame_send(context_, &frame);
    if (taken < 0) {
        return false;
    }
    frame.data += taken;
    frame.data_length -= static_cast<std::size_t>(taken);
    return frame.data_length == 0;
}

std::size_t FrameSender::send(std::uint8_t opcode, const std::uint8_t* data, std::size_t size) {
    if (wslay_is_ctrl_frame(opcode) && size > kControlMax) {
        return 0;
    }
    wslay_frame_iocb frame{};
    frame.fin = 1;
    frame.opcode = opcode;
    frame.payload_length = size;
    frame.data = data;
    frame.data_length = size;

    const MutexLocker lock(mutex_);
    while (streaming_ && !closing_ && end_ == End::None) {
        turn_.wait(mutex_);
    }
    if (closing_ || end_ != End::None) {
        return 0;
    }
    if (!encode(frame)) {
        streaming_ = true;
        bool alive = true;
        do {
            alive = waitForRoom();
        } while (alive && !encode(frame));
        streaming_ = false;
        turn_.notifyAll();
        if (!alive) {
            return 0;
        }
        queueWaitingControl();
    }
    if (!mayWait()) {
        dispatch();
    }
    return size;
}

void FrameSender::hold() {
    const MutexLocker lock(mutex_);
    if (holder_ == std::thread::id()) {
        holder_ = std::this_thread::get_id();
    }
}

void FrameSender::release() {
    const MutexLocker lock(mutex_);
    if (holder_ == std::this_thread::get_id()) {
        holder_ = std::thread::id();
        dispatch();
    }
}

bool FrameSender::wouldWait(std::size_t size) {
    const MutexLocker lock(mutex_);
    return streaming_ || ring_.free() < kHeaderMax || ring_.free() - kHeaderMax < size;
}

bool FrameSender::waitForRoom() {
    while (end_ == End::None) {
        if (ring_.free() > 0) {
            return true;
        }
        if (!opened_ || draining_) {
            room_.wait(mutex_);
        } else {
            drain(true);
            if (writerReady()) {
                wakeWriter();
            }
        }
    }
    return false;
}

void FrameSender::sendPing() {
    const MutexLocker lock(mutex_);
    ping_.set(nullptr, 0);
    queueWaitingControl();
    dispatch();
}

void FrameSender::sendPong(const std::uint8_t* data, std::size_t size) {
    const MutexLocker lock(mutex_);
    if (closing_ || !pong_.set(data, size)) {
        return;
    }
    queueWaitingControl();
    dispatch();
}

bool FrameSender::sendClose(const std::uint8_t* data, std::size_t size) {
    const MutexLocker lock(mutex_);
    if (closing_ || end_ != End::None || !close_.set(data, size)) {
        return false;
    }
    closing_ = true;
    turn_.notifyAll();
    queueWaitingControl();
    dispatch();
    return true;
}

bool FrameSender::closing() {
    const MutexLocker lock(mutex_);
    return closing_;
}

void FrameSender::queueWaitingControl() {
    if (!streaming_ && end_ == End::None && queueControl(pong_, WSLAY_PONG) &&
        queueControl(ping_, WSLAY_PING)) {
        queueControl(close_, WSLAY_CONNECTION_CLOSE);
    }
}

/// True when none of this kind is left waiting.
bool FrameSender::queueControl(ControlFrame& control, std::uint8_t opcode) {
    if (!control.waiting) {
        return true;
    }
    if (ring_.free() < control.size + 2) {
        return false;
    }
    wslay_frame_iocb frame{};
    frame.fin = 1;
    frame.opcode = opcode;
    frame.payload_length = control.size;
    frame.data = control.payload.data();
    frame.data_length = control.size;
    control.waiting = !encode(frame);
    return !control.waiting;
}

void FrameSender::pushPort() {
    const MutexLocker lock(mutex_);
    dispatch();
}

bool FrameSender::waitUntilWritten(std::chrono::milliseconds limit) {
    const MutexLocker lock(mutex_);
    const auto until = Clock::now() + limit;
    while (end_ == End::None && (hasWork() || draining_ || streaming_ || close_.waiting)) {
        if (!room_.waitUntil(mutex_, until)) {
            break;
        }
    }
    return end_ == End::None && !hasWork() && !streaming_ && !close_.waiting;
}

void FrameSender::killLocked(End why) {
    if (end_ != End::None) {
        return;
    }
    end_ = why;
    dead_.raise();
    turn_.notifyAll();
    room_.notifyAll();
    work_.notifyAll();
}

void FrameSender::kill(End why) {
    const MutexLocker lock(mutex_);
    killLocked(why);
}

FrameSender::End FrameSender::ended() {
    const MutexLocker lock(mutex_);
    return end_;
}

std::size_t FrameSender::highWater() {
    const MutexLocker lock(mutex_);
    return highWater_;
}

void FrameSender::stop() {
    {
        const MutexLocker lock(mutex_);
        killLocked(End::Stopped);
        stopping_ = true;
        work_.notifyAll();
        while (draining_) {
            room_.wait(mutex_);
        }
    }
    if (writer_.joinable()) {
        writer_.join();
    }
}

}  // namespace websocket
