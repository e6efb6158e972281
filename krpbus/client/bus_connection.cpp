#include "krpbus/client/bus_connection.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <exception>
#include <random>
#include <utility>

#include "base/log.h"
#include "krpbus/client/signals_blocked.h"

namespace krpbus {

namespace {

using namespace std::chrono_literals;

/// Before each attempt to connect again: this long, and up to so much longer, so that the clients
/// of a server that has just started do not all come at once.
constexpr std::chrono::milliseconds kPause{200};
constexpr std::chrono::milliseconds kPauseSpread{50};

/// What a burst of messages leaves unwritten is written after this time.
constexpr std::chrono::microseconds kGatherTime{100};
/// When the library cannot read yet, though something has come.
constexpr std::chrono::milliseconds kReadAgain{1};

std::chrono::milliseconds pauseBeforeAttempt() {
    static thread_local std::minstd_rand random{std::random_device{}()};
    std::uniform_int_distribution<int> spread(0, static_cast<int>(kPauseSpread.count()));
    return kPause + std::chrono::milliseconds(spread(random));
}

timespec toTimespec(std::chrono::nanoseconds time) {
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec result{};
    result.tv_sec = static_cast<time_t>(whole.count());
    result.tv_nsec = static_cast<long>((time - whole).count());
    return result;
}

}  // namespace

BusConnection::BusConnection(std::string url, std::string address, int consumerEvent,
                             BusListener& listener, std::chrono::milliseconds probeInterval)
    : url_(std::move(url)),
      address_(std::move(address)),
      listener_(listener),
      turns_(consumerEvent, listener, probeInterval) {
    const SignalsBlocked blocked;
    reader_ = std::thread([this] { run(); });
}

BusConnection::~BusConnection() {
    if (const auto connection = current(); connection && !connection->isLost()) {
        // Until the server has answered, it may not have read what we wrote; closing earlier could
        // make it throw that away. The consumer waits no longer, so the reader takes in the answer.
        connection->flush();
    }
    stop_ = true;
    wake_.raise();
    reader_.join();
    current_.reset();
}

void BusConnection::connect() {
    if (!wasConnected_) {
        open();
    }
}

void BusConnection::beginWait() {
    if (turns_.beginWait(current())) {
        wake_.raise();
    }
}

SendResult BusConnection::publish(const std::string& subject, const std::string& reply,
                                  std::span<const std::uint8_t> payload, const Sending& sending) {
    const auto connection = current();
    return connection ? connection->publish(subject, reply, payload, sending)
                      : SendResult::NotConnected;
}

void BusConnection::writeHeld() {
    if (const auto connection = current()) {
        connection->writeHeld();
    }
}

std::int64_t BusConnection::maxPayload() const {
    const auto connection = current();
    return connection ? connection->maxPayload() : 0;
}

void BusConnection::subscribe(const std::string& subject, const std::string& destination) {
    const MutexLocker lock(changeMutex_);
    wanted_[subject] = &destination;
    if (const auto connection = current();
        connection && !connection->subscribe(subject, destination)) {
        connection->giveUp();  // the next one may be complete
    }
}

void BusConnection::unsubscribe(const std::string& subject) {
    const MutexLocker lock(changeMutex_);
    wanted_.erase(subject);
    if (const auto connection = current()) {
        connection->unsubscribe(subject);
    }
}

std::shared_ptr<NatsConnection> BusConnection::current() const {
    const MutexLocker lock(currentMutex_);
    return current_;
}

/// Makes one attempt; whether there is a new connection.
bool BusConnection::open() {
    std::string refusal;
    auto connection = NatsConnection::open(url_, address_, wake_, refusal);
    if (!connection) {
        // It is asked five times a second: the same answer is worth one line.
        if (!refusal.empty() && refusal != refusal_) {
            LogUtil::logPieces(LogLevel::Error, "BusConnection",
                               {"the bus server refuses: ", refusal});
        }
        refusal_ = std::move(refusal);
        return false;
    }
    refusal_.clear();
    begin(std::move(connection));
    wake_.raise();
    return true;
}

void BusConnection::begin(std::shared_ptr<NatsConnection> connection) {
    const MutexLocker lock(changeMutex_);
    for (const auto& [subject, destination] : wanted_) {
        if (!connection->subscribe(subject, *destination)) {
            connection->giveUp();  // the next one may be complete
        }
    }
    {
        const MutexLocker currentLock(currentMutex_);
        current_ = std::move(connection);
    }
    wasConnected_ = true;
    connected_ = true;
    listener_.onConnected();
}

void BusConnection::end(NatsConnection& connection) {
    turns_.close(connection);
    const MutexLocker lock(changeMutex_);
    {
        const MutexLocker currentLock(currentMutex_);
        current_.reset();
    }
    listener_.onDisconnected();
    connected_ = false;
}

void BusConnection::run() {
    pthread_setname_np(pthread_self(), "krpbus-reader");
    while (!stop_) {
        try {
            keepConnected();
        } catch (const std::exception& error) {
            recover(error);
        }
    }
}

void BusConnection::keepConnected() {
    // Looked at first: where there was no connection yet, the first one may begin meanwhile.
    const bool wasConnected = wasConnected_;
    if (const auto connection = current()) {
        turns_.beginWatch();
        while (!stop_ && !connection->isLost()) {
            serve(*connection);
        }
        if (connection->isLost()) {
            end(*connection);
        }
    } else if (wasConnected) {
        connectAgain();
    } else {
        wait(1h);  // the first connection is connect()'s
    }
}

/// There may be half of a change then: the connection ends, and there is another one.
void BusConnection::recover(const std::exception& error) {
    LogUtil::logPieces(LogLevel::Error, "BusConnection",
                       {"the bus client cannot go on, connecting again: ", error.what()});
    if (const auto connection = current()) {
        connection->giveUp();
    }
    wait(kPause);
}

void BusConnection::connectAgain() {
    const auto due = ServerWatch::Clock::now() + pauseBeforeAttempt();
    while (!stop_ && ServerWatch::Clock::now() < due) {
        wait(due - ServerWatch::Clock::now());
    }
    if (!stop_) {
        open();
    }
}

/// Waits for the socket or a wake-up, and does what is due.
void BusConnection::serve(NatsConnection& connection) {
    if (connection.isFlushRequested()) {
        waitAndRead(connection, 0, kGatherTime);
        // Before the interest is looked at: who asks later wakes us again.
        connection.forgetFlushRequest();
    }
    const short interest = connection.wantsWrite() ? POLLOUT : 0;
    const auto untilDue = turns_.watchDue() - ServerWatch::Clock::now();
    if ((waitAndRead(connection, interest, std::max<std::chrono::nanoseconds>(untilDue, 0ns)) &
         POLLOUT) != 0) {
        connection.write();
    }
    watchServer(connection);
}

/// Waits for the socket, with this interest and in its turn for what comes in, or a wake-up, and
/// reads what there is. Returns what the socket is ready for.
short BusConnection::waitAndRead(NatsConnection& connection, short interest,
                                 std::chrono::nanoseconds timeout) {
    if (turns_.isReadersTurn()) {
        interest = static_cast<short>(interest | POLLIN | POLLRDHUP);
    }
    std::array<pollfd, 3> polled{{{wake_.descriptor(), POLLIN, 0},
                                  {turns_.clock(), POLLIN, 0},
                                  {interest != 0 ? connection.socket() : -1, interest, 0}}};
    const timespec longest = toTimespec(timeout);
    ppoll(polled.data(), polled.size(), &longest, nullptr);
    if (polled[0].revents != 0) {
        wake_.lower();
    }
    if (polled[1].revents != 0) {
        turns_.takeBackWhenLate();
    }
    const short ready = polled[2].revents;
    if ((ready & ~POLLOUT) != 0 && !turns_.readAsReader(connection, ready)) {
        wait(kReadAgain);
    }
    return ready;
}

void BusConnection::watchServer(NatsConnection& connection) {
    switch (turns_.watch()) {
        case ServerWatch::Action::Wait:
            break;
        case ServerWatch::Action::Probe:
            connection.probe(address_);
            break;
        case ServerWatch::Action::GiveUp:
            LogUtil::log(LogLevel::Error, "BusConnection",
                         "the bus server does not answer, connecting again");
            connection.giveUp();
            break;
    }
}

void BusConnection::wait(std::chrono::nanoseconds timeout) {
    pollfd woken{wake_.descriptor(), POLLIN, 0};
    const timespec longest = toTimespec(timeout);
    if (ppoll(&woken, 1, &longest, nullptr) > 0) {
        wake_.lower();
    }
}

}  // namespace krpbus
