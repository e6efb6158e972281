#include "krpbus/client/bus_connection.h"

#include <fcntl.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <csignal>
#include <limits>
#include <utility>

#include "base/log.h"

namespace {

constexpr std::int64_t kConnectTimeout = 2'000;  // milliseconds, as all times of the library
constexpr std::int64_t kReconnectWait = 200;
constexpr std::int64_t kReconnectJitter = 50;
// A server that answers nothing is given up after about 15 s.
constexpr std::int64_t kPingInterval = 5'000;
constexpr int kMaxPingsOut = 2;

// A message that follows another one within this time (microseconds) is written together with its
// neighbours; a system call for each would be most of the cost of sending.
constexpr std::int64_t kBurstGap = 50;
// The reader thread writes them after this time, ...
constexpr std::chrono::microseconds kGatherTime{100};
// ... the sender itself when they are that much (bytes), ...
constexpr std::size_t kWriteChunk = std::size_t{32} * 1024;
// ... and beyond that much senders wait,
constexpr int kMostUnwritten = 256 * 1024;
// for this time at most.
constexpr std::chrono::seconds kSendTimeout{2};
constexpr std::int64_t kCloseTimeout = 2'000;  // milliseconds

// While the library publishes for us we decide ourselves who writes; any other write interest
// comes from the library's own threads and needs the reader.
thread_local bool publishing = false;

std::int64_t microseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

// Blocks all signals of the calling thread, for the threads that are started meanwhile: signals
// are the business of the process's own threads.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t before_{};
};

void onError(natsConnection*, natsSubscription*, natsStatus status, void*) {
    LogUtil::log(LogLevel::Error, "BusConnection",
                 std::string("bus server: ") + natsStatus_GetText(status));
}

void deliver(natsConnection*, natsSubscription*, natsMsg* message, void* subscriber) {
    static_cast<BusSubscriber*>(subscriber)->onMessage(message);
}

struct OptionsDeleter {
    void operator()(natsOptions* options) const { natsOptions_Destroy(options); }
};

}  // namespace

BusConnection::BusConnection(std::string url, std::string name, BusListener& listener)
    : url_(std::move(url)), name_(std::move(name)), listener_(listener), wake_(makeEventFd()) {
    const SignalsBlocked blocked;
    reader_ = std::thread([this] { run(); });
}

BusConnection::~BusConnection() {
    natsConnection* const connection = connection_.load();
    if (connection != nullptr) {
        if (connected_) {
            // Until the server has answered, it may not have read what we wrote; closing earlier
            // could make it throw that away.
            natsConnection_FlushTimeout(connection, kCloseTimeout);
        }
        natsConnection_Close(connection);
        waitForSubscribers();
    }
    stop_ = true;
    raiseEvent(wake_.get());
    reader_.join();
    natsConnection_Destroy(connection);
}

bool BusConnection::connect() {
    if (connection_.load() != nullptr) {
        return false;
    }
    const SignalsBlocked blocked;
    natsOptions* raw = nullptr;
    if (natsOptions_Create(&raw) != NATS_OK) {
        return false;
    }
    const std::unique_ptr<natsOptions, OptionsDeleter> options(raw);
    const bool good =
        natsOptions_SetURL(raw, url_.c_str()) == NATS_OK &&
        natsOptions_SetName(raw, name_.c_str()) == NATS_OK &&
        natsOptions_SetTimeout(raw, kConnectTimeout) == NATS_OK &&
        natsOptions_SetMaxReconnect(raw, -1) == NATS_OK &&
        natsOptions_SetReconnectWait(raw, kReconnectWait) == NATS_OK &&
        natsOptions_SetReconnectJitter(raw, kReconnectJitter, kReconnectJitter) == NATS_OK &&
        natsOptions_SetPingInterval(raw, kPingInterval) == NATS_OK &&
        natsOptions_SetMaxPingsOut(raw, kMaxPingsOut) == NATS_OK &&
        natsOptions_SetIgnoreDiscoveredServers(raw, true) == NATS_OK &&
        natsOptions_SetErrorHandler(raw, onError, nullptr) == NATS_OK &&
        natsOptions_UseGlobalMessageDelivery(raw, true) == NATS_OK &&
        // Without it the library would start a thread of its own for writing.
        natsOptions_SetSendAsap(raw, true) == NATS_OK &&
        natsOptions_SetEventLoop(raw, this, onAttach, onReadInterest, onWriteInterest, onDetach) ==
            NATS_OK;
    if (url_.starts_with("tls://")) {
        natsOptions_SetSecure(raw, true);
    }
    natsConnection* connection = nullptr;
    if (!good || natsConnection_Connect(&connection, raw) != NATS_OK) {
        return false;
    }
    connection_ = connection;
    wasConnected_ = true;
    connected_ = true;
    if (socket_.load() < 0) {
        connected_ = false;  // lost again already
    }
    raiseEvent(wake_.get());
    return connected_;
}

std::int64_t BusConnection::maxPayload() const {
    natsConnection* const connection = connection_.load();
    return connection != nullptr ? natsConnection_GetMaxPayload(connection) : 0;
}

BusConnection::SendResult BusConnection::publish(const std::string& subject,
                                                 const std::string& reply,
                                                 std::span<const std::uint8_t> payload) {
    if (!connected_) {
        return SendResult::NotConnected;
    }
    if (payload.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return SendResult::TooLarge;
    }
    natsConnection* const connection = connection_.load();
    const bool writeUnderWay = writeWanted_;
    if (!writeUnderWay) {
        unwritten_ = 0;
        congested_ = false;
    } else if (congested_ && natsConnection_Buffered(connection) > kMostUnwritten &&
               !waitForRoom()) {
        return SendResult::Stuck;
    }
    publishing = true;
    const natsStatus status =
        natsConnection_PublishRequest(connection, subject.c_str(), reply.c_str(), payload.data(),
                                      static_cast<int>(payload.size()));
    publishing = false;
    switch (status) {
        case NATS_OK:
            unwritten_ += subject.size() + reply.size() + payload.size();
            writeOut(writeUnderWay);
            return SendResult::Sent;
        case NATS_MAX_PAYLOAD:
            return SendResult::TooLarge;
        case NATS_CONNECTION_CLOSED:
        case NATS_CONNECTION_DISCONNECTED:
            return SendResult::NotConnected;
        default:
            return SendResult::Failed;
    }
}

// `writeUnderWay`: somebody has been told already to write what waited before.
void BusConnection::writeOut(bool writeUnderWay) {
    if (unwritten_ >= kWriteChunk) {
        // When the last time not all could be written, the reader thread waits for room.
        if (!congested_) {
            processWrite();
        }
        unwritten_ = 0;
        congested_ = writeWanted_;
    } else if (!writeUnderWay) {
        const std::int64_t now = microseconds();
        if (now - std::exchange(lastPublish_, now) > kBurstGap) {
            processWrite();
        }
    }
    if (writeWanted_ && !flushRequested_.exchange(true)) {
        raiseEvent(wake_.get());
    }
}

bool BusConnection::waitForRoom() {
    const auto deadline = std::chrono::steady_clock::now() + kSendTimeout;
    while (connected_) {
        pollfd writable{socket_.load(), POLLOUT, 0};
        ::poll(&writable, 1, 100);
        processWrite();
        if (natsConnection_Buffered(connection_.load()) <= kMostUnwritten) {
            return true;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
    }
    return false;
}

void BusConnection::processWrite() {
    const std::lock_guard lock(ioMutex_);
    // The library takes an empty write for the end of the connection; another thread may have
    // written everything meanwhile.
    if (writeWanted_) {
        natsConnection_ProcessWriteEvent(connection_.load());
    }
}

natsSubscription* BusConnection::subscribe(const std::string& subject, BusSubscriber& subscriber) {
    natsConnection* const connection = connection_.load();
    natsSubscription* subscription = nullptr;
    const SignalsBlocked blocked;
    if (connection == nullptr ||
        natsConnection_Subscribe(&subscription, connection, subject.c_str(), deliver,
                                 &subscriber) != NATS_OK) {
        return nullptr;
    }
    const auto ended = [](void* self) {
        auto* const owner = static_cast<BusConnection*>(self);
        const std::lock_guard lock(owner->subscriptionsMutex_);
        --owner->subscriptions_;
        owner->subscriptionEnded_.notify_all();
    };
    natsSubscription_SetPendingLimits(subscription, -1, -1);
    const std::lock_guard lock(subscriptionsMutex_);
    if (natsSubscription_SetOnCompleteCB(subscription, ended, this) == NATS_OK) {
        ++subscriptions_;
    }
    return subscription;
}

void BusConnection::unsubscribe(natsSubscription* subscription) {
    // While it takes a message apart, the library uses the message's subscription without holding
    // on to it.
    const std::lock_guard lock(ioMutex_);
    natsSubscription_Unsubscribe(subscription);
    natsSubscription_Destroy(subscription);
}

void BusConnection::waitForSubscribers() {
    std::unique_lock lock(subscriptionsMutex_);
    subscriptionEnded_.wait(lock, [this] { return subscriptions_ == 0; });
}

void BusConnection::run() {
    pthread_setname_np(pthread_self(), "krpbus-reader");
    while (!stop_) {
        poll();
    }
}

// Waits for the socket or a wake-up, and does what is due.
void BusConnection::poll() {
    if (flushRequested_) {
        const timespec gatherTime{0, std::chrono::nanoseconds(kGatherTime).count()};
        waitAndRead(POLLIN, &gatherTime);
        flushRequested_ = false;  // before the interest is looked at: who asks later wakes us again
    }
    if ((waitAndRead(writeWanted_ ? POLLIN | POLLOUT : POLLIN, nullptr) & POLLOUT) != 0) {
        processWrite();
    }
}

// Waits for the socket, with this interest, or a wake-up, and reads what there is. Returns what the
// socket is ready for.
short BusConnection::waitAndRead(int interest, const timespec* timeout) {
    const int socket = wasConnected_ ? socket_.load() : -1;
    // A negative descriptor is passed over.
    std::array<pollfd, 2> polled{
        {{wake_.get(), POLLIN, 0}, {socket, static_cast<short>(interest), 0}}};
    ppoll(polled.data(), polled.size(), timeout, nullptr);
    if (polled[0].revents != 0) {
        clearEvent(wake_.get());
    }
    const short ready = polled[1].revents;
    if ((ready & ~POLLOUT) != 0) {
        const std::lock_guard lock(ioMutex_);
        // A writer may just have found that the connection is lost. The library then sets up the
        // next one and must not lose the server's greeting to us.
        if (socket == socket_.load()) {
            natsConnection_ProcessReadEvent(connection_.load());
        }
    }
    return ready;
}

natsStatus BusConnection::onAttach(void** user, void* loop, natsConnection*, natsSock fd) {
    auto* const self = static_cast<BusConnection*>(loop);
    *user = self;
    fcntl(fd, F_SETFD, FD_CLOEXEC);  // the library lets programs that we start inherit it
    self->socket_ = fd;
    if (self->wasConnected_) {
        self->connected_ = true;
        self->listener_.onReconnected();
        raiseEvent(self->wake_.get());
    }
    return NATS_OK;
}

// Read interest is taken back when the connection has been lost or closed, and only then.
natsStatus BusConnection::onReadInterest(void* user, bool add) {
    auto* const self = static_cast<BusConnection*>(user);
    if (!add) {
        self->socket_ = -1;
        self->connected_ = false;
        if (self->wasConnected_) {
            self->listener_.onDisconnected();
        }
        raiseEvent(self->wake_.get());
    }
    return NATS_OK;
}

natsStatus BusConnection::onWriteInterest(void* user, bool add) {
    auto* const self = static_cast<BusConnection*>(user);
    self->writeWanted_ = add;
    if (add && !publishing) {
        raiseEvent(self->wake_.get());
    }
    return NATS_OK;
}

natsStatus BusConnection::onDetach(void*) {
    return NATS_OK;
}
