// The time that a server has for a login.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "base/mutex.h"

namespace krpbus {

/// While it lives, a login to the bus server that the calling thread makes is ended when the
/// patience is at its end. The NATS client (3.4) has a time-out of its own, but overlooks it while
/// it waits for the server's last word, PONG, and has none from the beginning of a TLS handshake
/// on; it goes round and round then for as long as the server stands still, and tells nobody on
/// which socket. So that is looked for among the sockets of the process, and shut down, which ends
/// whatever waits for it. Where the login comes to its end earlier, nothing happens.
///
/// The NATS client opens its sockets without the close-on-exec flag, which they get from us at the
/// end of the login: a socket without it that is connected to the server's port is one of a login.
/// Of two logins to one port that a process makes at the same time, the later one's may be ended
/// with the earlier one's.
class LoginDeadline {
  public:
    /// Throws std::system_error where the process has no thread left: better no login than one that
    /// may never end.
    LoginDeadline(std::chrono::milliseconds patience, std::uint16_t serverPort);
    /// The login is over.
    ~LoginDeadline();
    LoginDeadline(const LoginDeadline&) = delete;
    LoginDeadline& operator=(const LoginDeadline&) = delete;

    /// Whether the login took longer than the patience.
    bool hasPassed() const { return passed_.load(); }

  private:
    void run();

    const std::chrono::steady_clock::time_point due_;
    const std::uint16_t serverPort_;
    std::atomic<bool> passed_{false};
    Mutex mutex_;
    ConditionVariable changed_;
    bool over_ GUARDED_BY(mutex_) = false;
    std::thread watcher_;
};

}  // namespace krpbus
