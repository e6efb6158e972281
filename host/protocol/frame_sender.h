#pragma once

#include <wslay/wslay.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

#include "base/mutex.h"
#include "base/wake_event.h"
#include "host/protocol/output_port.h"
#include "host/protocol/output_ring.h"

namespace websocket {

/// Sends the frames of one connection, for any thread, whole and in the order of the calls.
///
/// Frames go through a bounded queue. While the queue is empty and nothing is being written, the
/// sending thread writes its frame itself. Under load a writer thread does, many frames with one
/// system call. The writer runs no code of a plug-in, so it makes progress even while the
/// connection's own thread is in a plug-in's callback, waiting for a lock that a sender holds. A
/// sender that finds the queue full waits until there is room, and drains the queue itself when no
/// other thread is doing so. No lock is held while a thread waits for the socket.
///
/// A peer that takes nothing for the time-out, while there is something for it, is given up.
class FrameSender {
  public:
    using Clock = std::chrono::steady_clock;

    /// Why the connection is no longer written to.
    enum class End { None, Broken, TimedOut, Stopped };

    /// `capacity`: the bound of the queue in bytes. `timeout`: how long a peer may take nothing.
    FrameSender(OutputPort& port, std::size_t capacity, std::chrono::milliseconds timeout);
    ~FrameSender();
    FrameSender(const FrameSender&) = delete;
    FrameSender& operator=(const FrameSender&) = delete;

    /// Starts the writer thread, which inherits the caller's signal mask. Frames are queued but not
    /// written before `open`. Throws std::system_error when there is no thread.
    void start();

    /// Lets the queue go out, behind `head`, the answer to the handshake. Called once.
    void open(std::string head);

    /// Sends one data frame or a ping or pong of at most 125 bytes; waits while the queue is full.
    /// A frame larger than the queue passes through it in pieces. Answers `size`, or 0 when the
    /// frame was not taken because the connection has ended or a close frame was sent before. Any
    /// thread.
    std::size_t send(std::uint8_t opcode, const std::uint8_t* data, std::size_t size);

    /// What the calling thread sends from now on may wait in the queue for what it sends next,
    /// until there is enough of it or `release`, which writes it. Frames of other threads take
    /// along what waits. One thread at a time; a second one is not heeded.
    void hold();
    void release();

    /// Whether `send` of so many bytes would have to wait now.
    bool wouldWait(std::size_t size);

    /// Sends the host's own control frames. They never wait for room: they go out behind the frame
    /// that is being sent, and only the newest of a kind is kept until then. Payloads of more than
    /// 125 bytes are not sent. Any thread.
    void sendPing();
    void sendPong(const std::uint8_t* data, std::size_t size);
    /// The last frame of this side. True when it is the first close frame.
    bool sendClose(const std::uint8_t* data, std::size_t size);

    /// Whether a close frame was sent or is about to be.
    bool closing();

    /// Makes sure that bytes which the port holds on its own account go out.
    void pushPort();

    /// Waits until everything is written; true when it is, false after `limit` or when the
    /// connection has ended.
    bool waitUntilWritten(std::chrono::milliseconds limit);

    /// Marks the connection dead: nothing more is written or taken, and everybody who waits is
    /// woken.
    void kill(End why);
    End ended();
    /// Readable once the connection is dead.
    const base::WakeEvent& deadEvent() const { return dead_; }

    /// `kill` if that has not been done, then ends the writer thread. Afterwards nobody writes.
    void stop();

    /// The most bytes that have been in the queue at once.
    std::size_t highWater();

  private:
    struct ControlFrame {
        std::array<std::uint8_t, 125> payload{};
        std::size_t size = 0;
        bool waiting = false;

        bool set(const std::uint8_t* data, std::size_t length);
    };

    static ssize_t enqueue(const std::uint8_t* data, std::size_t size, int flags, void* self);

    bool encode(wslay_frame_iocb& frame) REQUIRES(mutex_);
    void queueWaitingControl() REQUIRES(mutex_);
    bool queueControl(ControlFrame& control, std::uint8_t opcode) REQUIRES(mutex_);
    bool waitForRoom() REQUIRES(mutex_);
    bool hasWork() const REQUIRES(mutex_);
    bool mayWait() const REQUIRES(mutex_);
    bool writerReady() const REQUIRES(mutex_);
    void wakeWriter() REQUIRES(mutex_);
    void dispatch() REQUIRES(mutex_);
    OutputPort::Status writeOnce(bool& progress) REQUIRES(mutex_);
    void drain(bool onlyUntilRoom) REQUIRES(mutex_);
    bool waitWritable(Clock::time_point until) REQUIRES(mutex_);
    void killLocked(End why) REQUIRES(mutex_);
    void gather() REQUIRES(mutex_);
    void run();

    OutputPort& port_;
    const std::chrono::milliseconds timeout_;
    base::WakeEvent dead_;
    std::thread writer_;

    Mutex mutex_;
    ConditionVariable room_;               // room in the queue, or the end of a drain
    ConditionVariable turn_;               // a frame that was sent in pieces is complete
    ConditionVariable work_;               // something for the writer thread
    std::string head_ GUARDED_BY(mutex_);  // goes out before the queue
    std::size_t headDone_ GUARDED_BY(mutex_) = 0;
    OutputRing ring_ GUARDED_BY(mutex_);
    wslay_frame_context_ptr context_ = nullptr;
    ControlFrame ping_ GUARDED_BY(mutex_);
    ControlFrame pong_ GUARDED_BY(mutex_);
    ControlFrame close_ GUARDED_BY(mutex_);
    Clock::time_point lastWrite_ GUARDED_BY(mutex_){};
    std::size_t highWater_ GUARDED_BY(mutex_) = 0;
    End end_ GUARDED_BY(mutex_) = End::None;
    bool opened_ GUARDED_BY(mutex_) = false;
    bool stopping_ GUARDED_BY(mutex_) = false;
    bool closing_ GUARDED_BY(mutex_) = false;
    bool streaming_ GUARDED_BY(mutex_) = false;  // a frame is in the queue that is not complete yet
    bool draining_ GUARDED_BY(mutex_) = false;   // somebody writes, or waits until he can
    bool writerIdle_ GUARDED_BY(mutex_) = false;  // the writer thread sleeps until it is woken
    bool gathering_ GUARDED_BY(mutex_) = false;   // the writer thread waits for more frames
    std::thread::id holder_ GUARDED_BY(mutex_);   // the thread that holds its frames back
};

}  // namespace websocket
