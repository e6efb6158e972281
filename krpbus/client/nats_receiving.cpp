#include <poll.h>
#include <sys/socket.h>

#include <utility>

#include "krpbus/client/nats_connection.h"
#include "krpbus/client/tls_record.h"

namespace krpbus {

namespace {

constexpr short kEnding = POLLRDHUP | POLLHUP | POLLERR;

/// Whether nothing more can come out of a socket that the server has ended. Over TLS the library
/// overlooks an end in the middle of a record where an old error of another call says "try again".
bool isDrained(int socket) {
    char byte = 0;
    return recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) <= 0;
}

}  // namespace

/// What has been taken in is taken out before a sender can find the end of the connection: with
/// that the library drops it.
bool NatsConnection::read(short ready, std::vector<Received>& received) {
    if (!canRead(ready) || !lockIo()) {
        return false;
    }
    {
        const MutexLocker lock(ioMutex_, std::adopt_lock);
        natsConnection_ProcessReadEvent(connection_);
        takeReceived(received);
    }
    if ((ready & kEnding) != 0 && !lost_ && isDrained(socket_.get())) {
        natsConnection_Close(connection_);
    }
    return true;
}

void NatsConnection::takeReceived(std::vector<Received>& received) {
    const MutexLocker lock(subscriptionsMutex_);
    taken_.resize(subscriptions_.size());
    for (auto& list : taken_) {
        list.clear();  // where the last time was broken off
    }
    auto taken = taken_.begin();
    for (auto& [subject, subscription] : subscriptions_) {
        takeQueue(subscription, *taken++);
    }
    mergeBySender(taken_, received);
}

/// Of a refusal the library tells no more than that there was one.
void NatsConnection::takeQueue(Subscription& subscription, std::vector<Received>& taken) {
    std::uint64_t queued = 0;
    if (natsSubscription_QueuedMsgs(subscription.queue, &queued) != NATS_OK) {
        return;
    }
    for (; queued > 0; --queued) {
        natsMsg* message = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&message, subscription.queue, 0);
        if (status == NATS_OK) {
            taken.push_back(krpbus::received(NatsMessage(message), subscription.destination));
            taken.back().behindRefusal = std::exchange(subscription.refusal, false);
        } else if (status == NATS_NO_RESPONDERS) {
            subscription.refusal = true;
        }
    }
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

}  // namespace krpbus
