// The time that a server has for a login over TLS.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "base/file_descriptor.h"
#include "base/mutex.h"

/// While it lives, a login that the calling thread makes, and that is over TLS, is ended when the
/// patience is at its end. From the handshake on the NATS client waits for the server without end,
/// and tells nobody which socket it waits for. OpenSSL does: it calls us when the thread makes a
/// TLS object, and when that begins its handshake. The socket is then shut down in time, which ends
/// whatever waits for it; where the login comes to its end earlier, nothing happens.
///
/// One at a time per thread.
class LoginDeadline {
  public:
    explicit LoginDeadline(std::chrono::milliseconds patience);
    /// The login is over.
    ~LoginDeadline();
    LoginDeadline(const LoginDeadline&) = delete;
    LoginDeadline& operator=(const LoginDeadline&) = delete;

    /// Whether the socket was shut down.
    bool hasPassed() const { return passed_.load(); }

    /// Called when the thread's login begins its handshake on the socket.
    void watch(int socket);

  private:
    void run();

    const std::chrono::steady_clock::time_point due_;
    FileDescriptor socket_;  // our own name for the library's, which it may close at any time
    std::atomic<bool> passed_{false};
    Mutex mutex_;
    ConditionVariable changed_;
    bool over_ GUARDED_BY(mutex_) = false;
    std::thread watcher_;  // only over TLS
};
