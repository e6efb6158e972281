#pragma once

namespace websocket {

/// A flag that `poll` can wait for, owned as a file descriptor. Any thread may raise it at any
/// time.
class WakeEvent {
  public:
    /// Throws std::system_error when the process has no descriptor left.
    WakeEvent();
    ~WakeEvent();
    WakeEvent(const WakeEvent&) = delete;
    WakeEvent& operator=(const WakeEvent&) = delete;

    /// Makes the descriptor readable until `lower` is called.
    void raise();
    void lower();
    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

}  // namespace websocket
