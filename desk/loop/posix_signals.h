// The signals that a desk logger takes, as something to wait on.
#pragma once

#include <optional>

namespace desk {

/// Blocks INT, TERM, USR1, USR2 and RTMIN and reads them from a descriptor instead. Made before the
/// first thread is started, so that all threads leave these signals alone. Ignores PIPE: a log that
/// nobody reads must not end a logger.
class Signals {
  public:
    /// Throws std::system_error.
    Signals();
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    /// Readable while a signal waits.
    int fd() const { return fd_; }
    /// The next signal's number; nothing while none waits.
    std::optional<int> next();

  private:
    int fd_;
};

}  // namespace desk
