#include "krpbus/client/reading_turns.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace krpbus {

namespace {

using namespace std::chrono_literals;

/// After so many probes and no answer for one more interval a server is given up.
constexpr int kProbesAllowed = 2;

/// For so long the consumer may be behind before the reader takes over. Less would be often on a
/// machine whose processors are all taken.
constexpr std::chrono::nanoseconds kMostBehind = 20ms;

constexpr short kEnding = POLLRDHUP | POLLHUP | POLLERR;

bool addTo(int set, int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    return ::epoll_ctl(set, EPOLL_CTL_ADD, fd, &event) == 0;
}

/// What a socket is ready for now, but for writing.
short readiness(int socket) {
    pollfd polled{socket, POLLIN | POLLRDHUP, 0};
    return ::poll(&polled, 1, 0) > 0 ? polled.revents : short{0};
}

}  // namespace

ReadingTurns::ReadingTurns(int consumerEvent, BusListener& listener,
                           std::chrono::milliseconds probeInterval)
    : listener_(listener),
      set_(::epoll_create1(EPOLL_CLOEXEC)),
      clock_(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)),
      watch_(probeInterval, kProbesAllowed) {
    if (set_.get() < 0 || clock_.get() < 0 || !addTo(set_.get(), consumerEvent)) {
        throw std::system_error(errno, std::generic_category(), "epoll or timerfd");
    }
}

bool ReadingTurns::beginWait(const std::shared_ptr<NatsConnection>& connection) {
    if (!connection || !connection->isPlain()) {
        return false;
    }
    const MutexLocker lock(mutex_);
    if (consumers_) {
        if (!caughtUp_ && readiness(consumers_->socket()) == 0) {
            caughtUp_ = true;
            setClock(0ns);
        }
        return false;
    }
    if (connection->isLost() || !addTo(set_.get(), connection->socket())) {
        return false;
    }
    consumers_ = connection;
    caughtUp_ = true;
    return true;
}

void ReadingTurns::endWait() {
    const MutexLocker lock(mutex_);
    if (caughtUp_) {
        caughtUp_ = false;
        setClock(kMostBehind);
    }
}

void ReadingTurns::readAsConsumer() {
    const MutexLocker lock(mutex_);
    if (!consumers_) {
        return;
    }
    const short ready = readiness(consumers_->socket());
    if (ready != 0 && !consumers_->isLost()) {
        read(*consumers_, ready, BusListener::Reader::Consumer);
    }
    if (consumers_->isLost()) {
        giveBack();
    }
}

bool ReadingTurns::isReadersTurn() {
    const MutexLocker lock(mutex_);
    return !consumers_;
}

bool ReadingTurns::readAsReader(NatsConnection& connection, short ready) {
    const MutexLocker lock(mutex_);
    if (consumers_) {
        // It has had its turn since the reader began to wait. An end the reader sees in any case.
        if ((ready & kEnding) == 0) {
            return true;
        }
        giveBack();
    }
    return connection.isLost() || read(connection, ready, BusListener::Reader::Thread);
}

/// Where memory is short, messages may be lost in the middle of it. Who waits for them learns that
/// as always: the connection ends, and there is another one.
bool ReadingTurns::read(NatsConnection& connection, short ready, BusListener::Reader reader) {
    received_.clear();
    try {
        if (!connection.read(ready, received_)) {
            return false;
        }
        watch_.heard(ServerWatch::Clock::now());
        listener_.onReceived(received_, reader);
    } catch (...) {
        connection.giveUp();
        throw;
    }
    received_.clear();
    return true;
}

void ReadingTurns::takeBackWhenLate() {
    const MutexLocker lock(mutex_);
    std::uint64_t times = 0;
    // The consumer may have come to wait since the clock ran out: then there is nothing to read.
    if (::read(clock_.get(), &times, sizeof times) > 0 && consumers_) {
        giveBack();
    }
}

void ReadingTurns::giveBack() {
    ::epoll_ctl(set_.get(), EPOLL_CTL_DEL, consumers_->socket(), nullptr);
    consumers_.reset();
    caughtUp_ = false;
    setClock(0ns);
}

void ReadingTurns::close(NatsConnection& connection) {
    const MutexLocker lock(mutex_);
    if (consumers_) {
        giveBack();
    }
    connection.close();
}

/// Runs out after this time; with zero it stands.
void ReadingTurns::setClock(std::chrono::nanoseconds time) {
    itimerspec setting{};
    setting.it_value.tv_nsec = static_cast<long>(time.count());
    ::timerfd_settime(clock_.get(), 0, &setting, nullptr);
}

void ReadingTurns::beginWatch() {
    const MutexLocker lock(mutex_);
    watch_.heard(ServerWatch::Clock::now());
}

ServerWatch::Clock::time_point ReadingTurns::watchDue() {
    const MutexLocker lock(mutex_);
    return watch_.due();
}

ServerWatch::Action ReadingTurns::watch() {
    const MutexLocker lock(mutex_);
    return watch_.act(ServerWatch::Clock::now());
}

}  // namespace krpbus
