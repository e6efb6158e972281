#include "base/krselect.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <map>

void FdSet::set(int fd) {
    if (fd >= 0 && !isSet(fd)) {
        fds_.push_back(fd);
    }
}

void FdSet::clear(int fd) {
    std::erase(fds_, fd);
}

bool FdSet::isSet(int fd) const {
    return std::find(fds_.begin(), fds_.end(), fd) != fds_.end();
}

namespace {

constexpr short kReadable = POLLIN | POLLHUP | POLLERR;
constexpr short kWritable = POLLOUT | POLLHUP | POLLERR;
constexpr short kExceptional = POLLPRI;

void ask(std::map<int, short>& events, const FdSet* set, short event) {
    if (set != nullptr) {
        for (const int fd : set->descriptors()) {
            events[fd] = static_cast<short>(events[fd] | event);
        }
    }
}

/// Leaves in the set what is ready; returns how many that are.
int keepReady(FdSet* set, const std::map<int, short>& ready, short events) {
    if (set == nullptr) {
        return 0;
    }
    for (const int fd : std::vector<int>(set->descriptors())) {
        if ((ready.at(fd) & events) == 0) {
            set->clear(fd);
        }
    }
    return static_cast<int>(set->descriptors().size());
}

}  // namespace

int krselect(FdSet* readSet, FdSet* writeSet, FdSet* errorSet, const timespec* timeout,
             const sigset_t* signalMask) {
    std::map<int, short> events;
    ask(events, readSet, POLLIN);
    ask(events, writeSet, POLLOUT);
    ask(events, errorSet, POLLPRI);

    std::vector<pollfd> polled;
    polled.reserve(events.size());
    for (const auto& [fd, event] : events) {
        polled.push_back({fd, event, 0});
    }
    const int result = ppoll(polled.data(), polled.size(), timeout, signalMask);
    if (result < 0) {
        return -1;
    }
    for (const pollfd& entry : polled) {
        if ((entry.revents & POLLNVAL) != 0) {
            errno = EBADF;
            return -1;
        }
        events[entry.fd] = entry.revents;
    }
    return keepReady(readSet, events, kReadable) + keepReady(writeSet, events, kWritable) +
           keepReady(errorSet, events, kExceptional);
}
