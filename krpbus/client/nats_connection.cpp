#include "krpbus/client/nats_connection.h"

#include <fcntl.h>
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

constexpr std::int64_t kFlushTimeout = 2'000;  // milliseconds

/// How long the reader waits for a sender that is in the library.
constexpr std::chrono::milliseconds kIoPatience{100};

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

natsStatus NatsConnection::onDetach(void*) {
    return NATS_OK;
}

}  // namespace krpbus
