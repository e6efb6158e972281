#include "host/apache/places.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace websocket {

namespace {

/// More than any server has processes or threads for.
constexpr std::size_t kSlots = 8192;
constexpr std::size_t kLongestAddress = 47;

/// Whose place it is. Only holds while the slot is locked.
struct Slot {
    std::array<char, kLongestAddress + 1> address;
};

// A nameless file in memory. Each slot of it is taken by a lock on its bytes, which the system
// releases with the last descriptor of the one that locked; the byte behind the slots is held by
// who looks for a place. Each connection opens the file anew, as locks belong to what was opened.
int file = -1;
Slot* slots = nullptr;

struct flock lockOf(short type, std::size_t start, std::size_t length) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(start);
    lock.l_len = static_cast<off_t>(length);
    return lock;
}

int control(int fd, int command, struct flock& lock) {
    int result = 0;
    do {
        result = ::fcntl(fd, command, &lock);
    } while (result != 0 && errno == EINTR);
    return result;
}

void require(int result, const char* what) {
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/// Nobody else looks for a place while this lives.
class Turn {
  public:
    explicit Turn(int fd) : fd_(fd) {
        auto lock = lockOf(F_WRLCK, kSlots * sizeof(Slot), 1);
        require(control(fd_, F_OFD_SETLKW, lock), "waiting for a place");
    }
    ~Turn() {
        auto lock = lockOf(F_UNLCK, kSlots * sizeof(Slot), 1);
        control(fd_, F_OFD_SETLK, lock);
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

  private:
    int fd_;
};

/// Appends the numbers of the slots from `from` to before `to` that are taken, in their order. The
/// system tells of any one lock in a range, not of the first.
void findTaken(int fd, std::size_t from, std::size_t to, std::vector<std::size_t>& taken) {
    if (from >= to) {
        return;
    }
    auto lock = lockOf(F_WRLCK, from * sizeof(Slot), (to - from) * sizeof(Slot));
    require(control(fd, F_OFD_GETLK, lock), "looking for a place");
    if (lock.l_type == F_UNLCK) {
        return;
    }
    const std::size_t found = static_cast<std::size_t>(lock.l_start) / sizeof(Slot);
    findTaken(fd, from, found, taken);
    taken.push_back(found);
    findTaken(fd, found + 1, to, taken);
}

/// The first number that is not among these, which are in order.
std::size_t firstFree(const std::vector<std::size_t>& taken) {
    std::size_t free = 0;
    while (free < taken.size() && taken[free] == free) {
        ++free;
    }
    return free;
}

base::FileDescriptor openAnew() {
    base::FileDescriptor opened(
        ::open(("/proc/self/fd/" + std::to_string(file)).c_str(), O_RDWR | O_CLOEXEC));
    require(opened.get() < 0 ? -1 : 0, "opening the list of places");
    return opened;
}

std::string_view addressOf(const Slot& slot) {
    return {slot.address.data(), ::strnlen(slot.address.data(), kLongestAddress)};
}

apr_status_t dropPlaces(void*) {
    if (slots != nullptr) {
        ::munmap(slots, kSlots * sizeof(Slot));
        slots = nullptr;
    }
    if (file >= 0) {
        ::close(file);
        file = -1;
    }
    return APR_SUCCESS;
}

}  // namespace

bool Places::make(apr_pool_t* pool) {
    constexpr std::size_t kSize = kSlots * sizeof(Slot);
    dropPlaces(nullptr);
    file = ::memfd_create("websockets", MFD_CLOEXEC);
    if (file < 0 || ::ftruncate(file, static_cast<off_t>(kSize)) != 0) {
        return false;
    }
    void* memory = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    slots = static_cast<Slot*>(memory);
    // Children keep theirs for as long as they live.
    apr_pool_cleanup_register(pool, nullptr, dropPlaces, apr_pool_cleanup_null);
    return true;
}

Place Places::take(const char* address, std::uint32_t most, std::uint32_t mostPerAddress) {
    base::FileDescriptor fd = openAnew();
    const std::string_view mine = std::string_view(address).substr(0, kLongestAddress);
    const Turn turn(fd.get());
    std::vector<std::size_t> taken;
    findTaken(fd.get(), 0, kSlots, taken);
    const auto fromMine = std::count_if(taken.begin(), taken.end(), [&](std::size_t slot) {
        return addressOf(slots[slot]) == mine;
    });
    const std::size_t free = firstFree(taken);
    if (free >= kSlots || (most != 0 && taken.size() >= most) ||
        (mostPerAddress != 0 && fromMine >= static_cast<std::ptrdiff_t>(mostPerAddress))) {
        return {};
    }
    auto lock = lockOf(F_WRLCK, free * sizeof(Slot), sizeof(Slot));
    require(control(fd.get(), F_OFD_SETLK, lock), "taking a place");
    slots[free].address.fill('\0');
    mine.copy(slots[free].address.data(), mine.size());
    return Place(std::move(fd));
}

}  // namespace websocket
