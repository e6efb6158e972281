// An event that `poll` can wait for.
#pragma once

#include "base/file_descriptor.h"

namespace base {

/// A flag that `poll` can wait for, owned as a file descriptor. Any thread may raise it at any
/// time.
class WakeEvent {
  public:
    /// Throws std::system_error when the process has no descriptor left.
    WakeEvent();

    /// Makes the descriptor readable until `lower` is called.
    void raise();
    void lower();
    int descriptor() const { return event_.get(); }

  private:
    FileDescriptor event_;
};

}  // namespace base
