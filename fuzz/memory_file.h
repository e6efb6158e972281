// A file in memory that targets put their input into.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

/// One for the process.
class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
        if (descriptor_ < 0) {
            std::abort();
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    /// Its path, with this content.
    std::string with(const std::uint8_t* data, std::size_t size) const {
        if (ftruncate(descriptor_, 0) != 0 ||
            pwrite(descriptor_, data, size, 0) != static_cast<ssize_t>(size)) {
            std::abort();
        }
        return "/proc/self/fd/" + std::to_string(descriptor_);
    }

  private:
    int descriptor_;
};
