#include "krpbus/client/nats_connection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <limits>
#include <thread>
#include <utility>

#include "base/log.h"
#include "krpbus/client/signals_blocked.h"
#include "krpbus/client/tls_record.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/// A message that follows another one within this time (microseconds) is written together with its
/// neighbours; a system call for each would be most of the cost of sending.
constexpr std::int64_t kBurstGap = 50;
/// The sender itself writes them when they are that much (bytes), otherwise soon the reader does;
constexpr std::size_t kWriteChunk = std::size_t{32} * 1024;
/// beyond that much senders wait,
constexpr int kMostUnwritten = 256 * 1024;
/// for this time at most.
constexpr std::chrono::seconds kSendTimeout{2};
constexpr std::int64_t kFlushTimeout = 2'000;  // milliseconds

/// How long the reader waits for a sender that is in the library.
constexpr std::chrono::milliseconds kIoPatience{100};
/// How long what was read may take to be delivered: subscribers do not wait.
constexpr std::chrono::seconds kDeliveryPatience{2};

constexpr short kEnding = POLLRDHUP | POLLHUP | POLLERR;

/// While the library publishes for us we decide ourselves who writes; any other write interest
/// needs the reader.
thread_local bool publishing = false;

std::int64_t microseconds() {
    const auto now = Clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

/// Whether nothing more can come out of a socket that the server has ended. Over TLS the library
/// overlooks an end in the middle of a record where an old error of another call says "try again".
bool isDrained(int socket) {
    char byte = 0;
    return recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) <= 0;
}

void deliver(natsConnection*, natsSubscription*, natsMsg* message, void* subscriber) {
    static_cast<BusSubscriber*>(subscriber)->onMessage(message);
}

}  // namespace

NatsConnection::~NatsConnection() {
    if (connection_ != nullptr) {
        close();
        natsConnection_Destroy(connection_);
    }
}

SendResult NatsConnection::publish(const std::string& subject, const std::string& reply,
                                   std::span<const std::uint8_t> payload) {
    if (lost_) {
        return SendResult::NotConnected;
    }
    if (payload.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return SendResult::TooLarge;
    }
    const bool writeUnderWay = writeWanted_;
    if (!writeUnderWay) {
        unwritten_ = 0;
        congested_ = false;
    } else if (congested_ && natsConnection_Buffered(connection_) > kMostUnwritten &&
               !waitForRoom()) {
        return lost_ ? SendResult::NotConnected : SendResult::Stuck;
    }
    publishing = true;
    const natsStatus status =
        natsConnection_PublishRequest(connection_, subject.c_str(), reply.c_str(), payload.data(),
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

/// `writeUnderWay`: somebody has been told already to write what waited before.
void NatsConnection::writeOut(bool writeUnderWay) {
    if (unwritten_ >= kWriteChunk) {
        // When the last time not all could be written, the reader waits for room.
        if (!congested_) {
            write();
        }
        unwritten_ = 0;
        congested_ = writeWanted_;
    } else if (!writeUnderWay) {
        const std::int64_t now = microseconds();
        if (now - std::exchange(lastPublish_, now) > kBurstGap) {
            write();
        }
    }
    if (writeWanted_ && !flushRequested_.exchange(true)) {
        wake_.raise();
    }
}

bool NatsConnection::waitForRoom() {
    const auto deadline = Clock::now() + kSendTimeout;
    while (!lost_) {
        pollfd writable{socket_.get(), POLLOUT, 0};
        ::poll(&writable, 1, 100);
        if (writable.revents != 0) {
            write();
        }
        if (natsConnection_Buffered(connection_) <= kMostUnwritten) {
            return true;
        }
        if (Clock::now() > deadline) {
            return false;
        }
    }
    return false;
}

void NatsConnection::write() {
    if (!lockIo()) {
        return;
    }
    // The library takes an empty write for the end of the connection; another thread may have
    // written everything meanwhile.
    if (writeWanted_) {
        natsConnection_ProcessWriteEvent(connection_);
    }
    ioMutex_.unlock();
}

void NatsConnection::flush() {
    natsConnection_FlushTimeout(connection_, kFlushTimeout);
}

/// Over TLS the library stays in a write, and busy, until the server takes what it began to write:
/// one that stands still must not hold the reader, which is to give it up.
bool NatsConnection::lockIo() NO_THREAD_SAFETY_ANALYSIS {
    if (transport_ == Transport::Plain) {
        ioMutex_.lock();
        return true;
    }
    for (const auto deadline = Clock::now() + kIoPatience; !ioMutex_.try_lock();) {
        if (Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(100us);
    }
    return true;
}

bool NatsConnection::subscribe(const std::string& subject, BusSubscriber& subscriber) {
    natsSubscription* subscription = nullptr;
    const SignalsBlocked blocked;
    if (natsConnection_Subscribe(&subscription, connection_, subject.c_str(), deliver,
                                 &subscriber) != NATS_OK) {
        return false;
    }
    natsSubscription_SetPendingLimits(subscription, -1, -1);
    {
        const MutexLocker lock(deliveringMutex_);
        const auto ended = [](void* self) { static_cast<NatsConnection*>(self)->endDelivery(); };
        if (natsSubscription_SetOnCompleteCB(subscription, ended, this) == NATS_OK) {
            ++delivering_;
        }
    }
    const MutexLocker lock(subscriptionsMutex_);
    subscriptions_.emplace(subject, subscription);
    return true;
}

void NatsConnection::unsubscribe(const std::string& subject) {
    natsSubscription* subscription = nullptr;
    {
        const MutexLocker lock(subscriptionsMutex_);
        auto entry = subscriptions_.extract(subject);
        if (entry.empty()) {
            return;
        }
        subscription = entry.mapped();
    }
    // While it takes a message apart, the library uses the message's subscription without holding
    // on to it.
    const MutexLocker lock(ioMutex_);
    natsSubscription_Unsubscribe(subscription);
    natsSubscription_Destroy(subscription);
}

void NatsConnection::endDelivery() {
    const MutexLocker lock(deliveringMutex_);
    --delivering_;
    deliveryEnded_.notifyAll();
}

bool NatsConnection::read(short ready) {
    if (!canRead(ready)) {
        return false;
    }
    const bool ending = (ready & kEnding) != 0;
    if (ending) {
        letDeliver();
    }
    if (!lockIo()) {
        return false;
    }
    natsConnection_ProcessReadEvent(connection_);
    ioMutex_.unlock();
    if (ending && !lost_ && isDrained(socket_.get())) {
        letDeliver();
        natsConnection_Close(connection_);
    }
    return true;
}

/// Over TLS the library goes round and round, with its lock held, until the record that it has
/// begun to read is complete; where the server is cut off or stands still in the middle of one that
/// is for ever. So it is let at whole records only.
bool NatsConnection::canRead(short ready) {
    if (transport_ == Transport::Unknown) {
        transport_ = startsTlsRecord(socket_.get()) ? Transport::Tls : Transport::Plain;
    }
    if (transport_ == Transport::Plain || (ready & kEnding) != 0) {
        return true;
    }
    return awaitTlsRecord(socket_.get(), awaited_);
}

/// When the library finds the end of the connection it drops what it has read and not yet
/// delivered.
void NatsConnection::letDeliver() {
    const auto deadline = Clock::now() + kDeliveryPatience;
    const MutexLocker lock(subscriptionsMutex_);
    for (const auto& [subject, subscription] : subscriptions_) {
        std::uint64_t queued = 0;
        while (natsSubscription_QueuedMsgs(subscription, &queued) == NATS_OK && queued > 0 &&
               Clock::now() < deadline) {
            std::this_thread::sleep_for(100us);
        }
    }
}

void NatsConnection::probe(const std::string& subject) {
    if (lockIo()) {
        natsConnection_Publish(connection_, subject.c_str(), nullptr, 0);
        ioMutex_.unlock();
    }
}

void NatsConnection::giveUp() {
    shutdown(socket_.get(), SHUT_RDWR);
}

void NatsConnection::close() {
    natsConnection_Close(connection_);
    {
        const MutexLocker lock(subscriptionsMutex_);
        for (const auto& [subject, subscription] : subscriptions_) {
            natsSubscription_Destroy(subscription);
        }
        subscriptions_.clear();
    }
    const MutexLocker lock(deliveringMutex_);
    while (delivering_ != 0) {
        deliveryEnded_.wait(deliveringMutex_);
    }
}

natsStatus NatsConnection::onAttach(void** user, void* loop, natsConnection*, natsSock fd) {
    auto* const self = static_cast<NatsConnection*>(loop);
    *user = self;
    fcntl(fd, F_SETFD, FD_CLOEXEC);  // the library lets programs that we start inherit it
    // The library closes its descriptor when the connection ends, in whatever thread notices, and
    // the number may at once be somebody else's.
    self->socket_ = FileDescriptor(fcntl(fd, F_DUPFD_CLOEXEC, 0));
    return self->socket_.get() >= 0 ? NATS_OK : NATS_SYS_ERROR;
}

/// Read interest is taken back when the connection has been lost or closed, and only then.
natsStatus NatsConnection::onReadInterest(void* user, bool add) {
    auto* const self = static_cast<NatsConnection*>(user);
    if (!add) {
        self->lost_ = true;
        self->wake_.raise();
    }
    return NATS_OK;
}

natsStatus NatsConnection::onWriteInterest(void* user, bool add) {
    auto* const self = static_cast<NatsConnection*>(user);
    self->writeWanted_ = add;
    if (add && !publishing) {
        self->wake_.raise();
    }
    return NATS_OK;
}

natsStatus NatsConnection::onDetach(void*) {
    return NATS_OK;
}
