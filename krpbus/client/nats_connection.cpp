#include "krpbus/client/nats_connection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <limits>
#include <new>
#include <thread>
#include <utility>

#include "base/log.h"
#include "krpbus/client/signals_blocked.h"

namespace krpbus {

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

/// Messages that were sent are destroyed when they are that many, or that many bytes: each time a
/// thread of the library is woken.
constexpr std::size_t kMostSpent = 64;
constexpr std::size_t kMostSpentBytes = std::size_t{64} * 1024;

/// While the library publishes for us we decide ourselves who writes; any other write interest
/// needs the reader.
thread_local bool publishing = false;

std::int64_t microseconds() {
    const auto now = Clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

}  // namespace

/// Later nothing may fail between a message's sending and its end.
NatsConnection::NatsConnection(base::WakeEvent& wake) : wake_(wake) {
    spent_.reserve(kMostSpent);
}

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
    const natsStatus status = publishNumbered(subject, reply, payload);
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

/// Without its number where it would be the number that makes it too large, or the server knows no
/// headers; a probe needs none.
natsStatus NatsConnection::publishNumbered(const std::string& subject, const std::string& reply,
                                           std::span<const std::uint8_t> payload) {
    const auto size = static_cast<int>(payload.size());
    const auto* const data = reinterpret_cast<const char*>(payload.data());
    if (payload.empty() || natsConnection_HasHeaderSupport(connection_) != NATS_OK ||
        static_cast<std::int64_t>(payload.size() + SendCounter::kHeaderBytes) > maxPayload()) {
        return natsConnection_PublishRequest(connection_, subject.c_str(), reply.c_str(), data,
                                             size);
    }
    natsMsg* raw = nullptr;
    natsStatus status = natsMsg_Create(&raw, subject.c_str(), reply.c_str(), data, size);
    if (status != NATS_OK) {
        return status;
    }
    NatsMessage message(raw);
    status = natsMsgHeader_Set(raw, kOrderHeader, counter_.next());
    if (status == NATS_OK) {
        status = natsConnection_PublishMsg(connection_, raw);
    }
    destroyLater(std::move(message), payload.size());
    return status;
}

void NatsConnection::destroyLater(NatsMessage message, std::size_t size) {
    spent_.push_back(std::move(message));
    spentBytes_ += size;
    if (spent_.size() >= kMostSpent || spentBytes_ >= kMostSpentBytes) {
        spent_.clear();
        spentBytes_ = 0;
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

/// A place for a subscription, before the library is asked for it; the end where there is no
/// memory.
NatsConnection::Subscriptions::iterator NatsConnection::addSubscription(
    const std::string& subject) {
    try {
        return subscriptions_.try_emplace(subject).first;
    } catch (const std::bad_alloc&) {
        return subscriptions_.end();
    }
}

bool NatsConnection::subscribe(const std::string& subject, const std::string& destination) {
    natsSubscription* subscription = nullptr;
    const SignalsBlocked blocked;
    // All the while: the reader may take in the first message before the library has returned, and
    // would not come back to a queue that it does not know.
    const MutexLocker lock(subscriptionsMutex_);
    const auto entry = addSubscription(subject);
    if (entry == subscriptions_.end()) {
        return false;
    }
    if (natsConnection_SubscribeSync(&subscription, connection_, subject.c_str()) != NATS_OK) {
        subscriptions_.erase(entry);
        return false;
    }
    natsSubscription_SetPendingLimits(subscription, -1, -1);
    entry->second = {subscription, &destination};
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
        subscription = entry.mapped().queue;
    }
    // While it takes a message apart, the library uses the message's subscription without holding
    // on to it.
    const MutexLocker lock(ioMutex_);
    natsSubscription_Unsubscribe(subscription);
    natsSubscription_Destroy(subscription);
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
    const MutexLocker lock(subscriptionsMutex_);
    for (const auto& [subject, subscription] : subscriptions_) {
        natsSubscription_Destroy(subscription.queue);
    }
    subscriptions_.clear();
}

natsStatus NatsConnection::onAttach(void** user, void* loop, natsConnection*, natsSock fd) {
    auto* const self = static_cast<NatsConnection*>(loop);
    *user = self;
    fcntl(fd, F_SETFD, FD_CLOEXEC);  // the library lets programs that we start inherit it
    // The library closes its descriptor when the connection ends, in whatever thread notices, and
    // the number may at once be somebody else's.
    self->socket_ = base::FileDescriptor(fcntl(fd, F_DUPFD_CLOEXEC, 0));
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

}  // namespace krpbus
