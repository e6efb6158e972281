// The signals that a desk logger takes, as something to wait on.
#pragma once

#include <optional>

namespace desk {

/// Blocks INT, TERM, USR1, USR2 and RTMIN and reads them from a descriptor instead. Made before the
/// first thread is started, so that all threads leave these signals alone. Ignores PIPE: a log that
/// nobody reads must not end a logger.
class PosixSignals {
  public:
    /// Throws std::system_error.
    PosixSignals();
    ~PosixSignals();
    PosixSignals(const PosixSignals&) = delete;
    PosixSignals& operator=(const PosixSignals&) = delete;

    /// Readable while a signal waits.
    int fd() const { return fd_; }
    /// The next signal's number; nothing while none waits.
    std::optional<int> next();

  private:
    int fd_;
};

}  // namespace desk
