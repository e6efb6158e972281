#include "desk/loop/posix_signals.h"

#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace desk {

PosixSignals::PosixSignals() {
    sigset_t taken;
    sigemptyset(&taken);
    for (const int number : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2, SIGRTMIN}) {
        sigaddset(&taken, number);
    }
    pthread_sigmask(SIG_BLOCK, &taken, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    fd_ = signalfd(-1, &taken, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd_ < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

PosixSignals::~PosixSignals() {
    close(fd_);
}

std::optional<int> PosixSignals::next() {
    signalfd_siginfo info{};
    if (read(fd_, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) {
        return std::nullopt;
    }
    return static_cast<int>(info.ssi_signo);
}

}  // namespace desk
