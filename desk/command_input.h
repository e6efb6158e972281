// Commands that a person or a test types while a logger runs.
#pragma once

#include <string>
#include <vector>

namespace desk {

/// Reads lines from a descriptor that it does not own.
class CommandInput {
  public:
    /// A negative descriptor is closed from the start.
    explicit CommandInput(int fd) : fd_(fd) {}

    /// The descriptor to wait on; -1 after the end of the input, or after a line without end.
    int fd() const { return fd_; }
    /// Reads once; the complete lines without their ends. Called when the descriptor is readable.
    std::vector<std::string> readLines();

  private:
    int fd_;
    std::string rest_;
};

}  // namespace desk
