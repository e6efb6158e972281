#include "krpbus/client/login_deadline.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>

#include "base/file_descriptor.h"

namespace krpbus {

namespace {

using namespace std::chrono_literals;

/// A name may be looked up when the time is already over, or the next address of the server tried.
constexpr std::chrono::milliseconds kLookAgain{100};

/// The system gives out the lowest number that is free, and no process here has that many.
constexpr rlim_t kMostDescriptors = 65'536;

int descriptorNumbers() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<int>(std::min(limit.rlim_cur, kMostDescriptors));
}

std::uint16_t peerPort(int socket) {
    sockaddr_storage peer{};
    socklen_t length = sizeof peer;
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &length) != 0) {
        return 0;
    }
    switch (peer.ss_family) {
        case AF_INET:
            return ntohs(reinterpret_cast<const sockaddr_in&>(peer).sin_port);
        case AF_INET6:
            return ntohs(reinterpret_cast<const sockaddr_in6&>(peer).sin6_port);
        default:
            return 0;
    }
}

void endLogin(std::uint16_t serverPort) {
    const int numbers = descriptorNumbers();
    for (int number = 0; number < numbers; ++number) {
        const int flags = fcntl(number, F_GETFD);
        if (flags < 0 || (flags & FD_CLOEXEC) != 0) {
            continue;
        }
        // Another thread may close it and give the number to something else: we look at, and end,
        // what has our own name.
        const base::FileDescriptor socket(fcntl(number, F_DUPFD_CLOEXEC, 0));
        if (socket.get() >= 0 && peerPort(socket.get()) == serverPort) {
            shutdown(socket.get(), SHUT_RDWR);
        }
    }
}

}  // namespace

LoginDeadline::LoginDeadline(std::chrono::milliseconds patience, std::uint16_t serverPort)
    : due_(std::chrono::steady_clock::now() + patience),
      serverPort_(serverPort),
      watcher_([this] { run(); }) {}

LoginDeadline::~LoginDeadline() {
    {
        const MutexLocker lock(mutex_);
        over_ = true;
        changed_.notifyAll();
    }
    watcher_.join();
}

void LoginDeadline::run() {
    pthread_setname_np(pthread_self(), "krpbus-login");
    const MutexLocker lock(mutex_);
    for (auto next = due_; !over_; changed_.waitUntil(mutex_, next)) {
        if (const auto now = std::chrono::steady_clock::now(); now >= next) {
            passed_ = true;
            endLogin(serverPort_);
            next = now + kLookAgain;
        }
    }
}

}  // namespace krpbus
