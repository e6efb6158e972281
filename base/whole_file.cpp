#include "base/whole_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <thread>

#include "base/file_descriptor.h"

namespace base {

/// Also on 32 bits, where a file of more than 2 GiB could not be opened otherwise.
static_assert(sizeof(off_t) == 8, "to be built with _FILE_OFFSET_BITS=64");

namespace {

/// Opened without blocking and looked at afterwards.
constexpr int kFlags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

/// How long to wait for others who have the file in use, and how often to look.
constexpr std::chrono::seconds kPatience{2};
constexpr std::chrono::milliseconds kPause{10};

/// Makes the system call again for as long as signals interrupt it.
template <class Call>
auto uninterrupted(const Call& call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// Waits for a turn at the file; false when none has come. File systems without locks give no
/// turns, there everybody goes on at once.
bool waitForTurn(int fd, int operation) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (uninterrupted([&] { return ::flock(fd, operation | LOCK_NB); }) != 0) {
        if (errno != EWOULDBLOCK) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

/// Opens the file without cutting it. `made`: there was none before.
FileDescriptor openForWriting(const std::string& path, ExistingFile existing, bool& made) {
    const int links = existing == ExistingFile::OwnAlone ? O_NOFOLLOW : 0;
    const int flags = O_WRONLY | O_CREAT | links | kFlags;
    FileDescriptor file(::open(path.c_str(), flags | O_EXCL, 0644));
    made = file.get() >= 0;
    if (!made && errno == EEXIST) {
        // O_CREAT still: a link that may be followed can lead to where no file is yet.
        file = FileDescriptor(::open(path.c_str(), flags, 0644));
    }
    return file;
}

bool mayBeReplaced(const struct stat& status, ExistingFile existing) {
    return S_ISREG(status.st_mode) && (existing == ExistingFile::Any ||
                                       (status.st_uid == ::geteuid() && status.st_nlink <= 1));
}

/// Takes the room that a content of this size needs, which makes the file at least so long. False
/// when there is none; where the file system cannot reserve any, writing will show.
bool reserve(int fd, std::size_t size) {
    return size == 0 ||
           uninterrupted([&] { return ::fallocate(fd, 0, 0, static_cast<off_t>(size)); }) == 0 ||
           errno == EOPNOTSUPP || errno == ENOSYS;
}

bool cut(int fd, off_t size) {
    return uninterrupted([&] { return ::ftruncate(fd, size); }) == 0;
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            uninterrupted([&] { return ::write(fd, bytes.data(), bytes.size()); });
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// Replaces the content, which is `oldSize` long. False when it could not be done: see
/// writeWholeFile for what the file then holds.
bool replaceContent(int fd, std::string_view bytes, off_t oldSize) {
    if (!reserve(fd, bytes.size())) {
        cut(fd, oldSize);  // it may have grown by what room there was
        return false;
    }
    if (writeAll(fd, bytes) && cut(fd, static_cast<off_t>(bytes.size()))) {
        return true;
    }
    cut(fd, 0);  // a part is of no use and would fill the disk
    return false;
}

/// Whether a block of memory of this size could be had. Asked first, since systems that promise
/// more memory than they have end the process that uses it.
bool fitsIntoMemory(std::uint64_t size) {
    const auto pages = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES));
    if (size > pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) ||
        size > std::numeric_limits<std::size_t>::max()) {
        return false;
    }
    const auto length = static_cast<std::size_t>(size);
    void* block =
        ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return block != MAP_FAILED && ::munmap(block, length) == 0;
}

/// Fills `bytes` from the start of the file, less where the file ends before.
bool readUpTo(int fd, std::string& bytes) {
    std::size_t length = 0;
    while (length < bytes.size()) {
        const ssize_t got =
            uninterrupted([&] { return ::read(fd, bytes.data() + length, bytes.size() - length); });
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

}  // namespace

bool writeWholeFile(const std::string& path, std::string_view bytes, ExistingFile existing) {
    while (true) {
        bool made = false;
        FileDescriptor file = openForWriting(path, existing, made);
        struct stat status {};
        if (file.get() < 0 || ::fstat(file.get(), &status) != 0 ||
            !mayBeReplaced(status, existing) || !waitForTurn(file.get(), LOCK_EX) ||
            ::fstat(file.get(), &status) != 0) {
            return false;
        }
        if (status.st_nlink == 0) {
            continue;  // removed by the one who held the lock before
        }
        if (replaceContent(file.get(), bytes, status.st_size) && file.close()) {
            return true;
        }
        if (made && status.st_size == 0) {
            ::unlink(path.c_str());
        }
        return false;
    }
}

std::optional<std::string> readWholeFile(const std::string& path, unsigned copies) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | kFlags));
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    // Somebody who keeps the file in use for longer is not writing it.
    waitForTurn(file.get(), LOCK_SH);
    if (::fstat(file.get(), &status) != 0) {
        return std::nullopt;
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > 0 && (size > std::numeric_limits<std::uint64_t>::max() / copies ||
                     !fitsIntoMemory(size * copies))) {
        return std::nullopt;
    }
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (!readUpTo(file.get(), bytes)) {
        return std::nullopt;
    }
    return bytes;
}

}  // namespace base
