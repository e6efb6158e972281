#include "base/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

// A regular file that is open. It is opened without blocking and looked at afterwards.
class RegularFile {
  public:
    RegularFile(const std::string& path, int flags)
        : fd_(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644)) {
        struct stat status {};
        if (fd_ >= 0 && (::fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode))) {
            close();
        }
        size_ = isOpen() ? static_cast<std::size_t>(status.st_size) : 0;
    }
    ~RegularFile() {
        if (isOpen()) {
            close();
        }
    }
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;

    bool isOpen() const { return fd_ >= 0; }
    std::size_t size() const { return size_; }

    bool close() {
        const int result = ::close(fd_);
        fd_ = -1;
        return result == 0;
    }

    bool writeAll(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t written = ::write(fd_, bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(written));
        }
        return true;
    }

    // Fills `bytes` from the start of the file, less where the file ends before.
    bool readUpTo(std::string& bytes) {
        std::size_t length = 0;
        while (length < bytes.size()) {
            const ssize_t got = ::read(fd_, bytes.data() + length, bytes.size() - length);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got < 0) {
                return false;
            }
            if (got == 0) {
                break;
            }
            length += static_cast<std::size_t>(got);
        }
        bytes.resize(length);
        return true;
    }

  private:
    int fd_;
    std::size_t size_ = 0;
};

}  // namespace

bool writeWholeFile(const std::string& path, std::string_view bytes, SymbolicLinks links) {
    const int follow = links == SymbolicLinks::Refuse ? O_NOFOLLOW : 0;
    RegularFile file(path, O_WRONLY | O_CREAT | O_TRUNC | follow);
    return file.isOpen() && file.writeAll(bytes) && file.close();
}

std::optional<std::string> readWholeFile(const std::string& path) {
    RegularFile file(path, O_RDONLY);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    std::string bytes(file.size(), '\0');
    if (!file.readUpTo(bytes)) {
        return std::nullopt;
    }
    return bytes;
}
