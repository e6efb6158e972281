#include "base/file_descriptor.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

FileDescriptor makeEventFd() {
    FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (event.get() < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return event;
}

void raiseEvent(int fd) {
    const std::uint64_t one = 1;
    while (write(fd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

void clearEvent(int fd) {
    std::uint64_t count = 0;
    while (read(fd, &count, sizeof count) < 0 && errno == EINTR) {
    }
}
