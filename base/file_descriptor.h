// Ownership of a descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace base {

class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }

    int get() const { return fd_; }

    /// Closes it now. False when the system tells of an error, such as of an earlier write.
    bool close() { return ::close(std::exchange(fd_, -1)) == 0; }

  private:
    int fd_ = -1;
};

}  // namespace base
