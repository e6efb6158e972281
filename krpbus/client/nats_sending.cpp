#include <poll.h>

#include <chrono>
#include <limits>
#include <utility>

#include "krpbus/client/live_batch.h"
#include "krpbus/client/nats_connection.h"

namespace krpbus {

namespace {

using Clock = std::chrono::steady_clock;

/// A message that follows another one within this time (microseconds) is written together with its
/// neighbours; a system call for each would be most of the cost of sending.
constexpr std::int64_t kBurstGap = 50;
/// The sender itself writes them when they are that much (bytes), otherwise soon the reader does;
constexpr std::size_t kWriteChunk = std::size_t{32} * 1024;
/// beyond that much senders wait,
constexpr int kMostUnwritten = 256 * 1024;
/// for this time at most.
constexpr std::chrono::seconds kSendTimeout{2};

/// Messages that were sent are destroyed when they are that many bytes, too.
constexpr std::size_t kMostSpentBytes = std::size_t{64} * 1024;

/// While the library publishes for us we decide ourselves who writes; any other write interest
/// needs the reader.
thread_local bool publishing = false;

std::int64_t microseconds() {
    const auto now = Clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

}  // namespace

SendResult NatsConnection::publish(const std::string& subject, const std::string& reply,
                                   std::span<const std::uint8_t> payload, const Sending& sending) {
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
    const natsStatus status = publishNumbered(subject, reply, payload, sending);
    publishing = false;
    switch (status) {
        case NATS_OK:
            unwritten_ += subject.size() + reply.size() + payload.size();
            writeOut(writeUnderWay, sending.moreFollows);
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

/// Without headers where it would be those that make it too large, or the server knows none; a
/// probe needs none, but it comes between.
natsStatus NatsConnection::publishNumbered(const std::string& subject, const std::string& reply,
                                           std::span<const std::uint8_t> payload,
                                           const Sending& sending) {
    const auto size = static_cast<int>(payload.size());
    const auto* const data = reinterpret_cast<const char*>(payload.data());
    const bool mayHaveHeader =
        !payload.empty() && natsConnection_HasHeaderSupport(connection_) == NATS_OK &&
        static_cast<std::int64_t>(payload.size() + SendCounter::kHeaderBytes) <= maxPayload();
    if (sending.forMany) {
        counter_.beginAgain();
    }
    const char* const order = mayHaveHeader ? counter_.next(subject, reply) : nullptr;
    const bool takesShared = mayHaveHeader && sending.takesShared;
    natsStatus status = NATS_OK;
    if (order == nullptr && !takesShared) {
        status =
            natsConnection_PublishRequest(connection_, subject.c_str(), reply.c_str(), data, size);
    } else {
        status = publishWithHeader(subject, reply, payload, order, takesShared);
    }
    if (status != NATS_OK || !mayHaveHeader) {
        counter_.beginAgain();
    }
    return status;
}

natsStatus NatsConnection::publishWithHeader(const std::string& subject, const std::string& reply,
                                             std::span<const std::uint8_t> payload,
                                             const char* order, bool takesShared) {
    natsMsg* raw = nullptr;
    natsStatus status = natsMsg_Create(&raw, subject.c_str(), reply.c_str(),
                                       reinterpret_cast<const char*>(payload.data()),
                                       static_cast<int>(payload.size()));
    if (status != NATS_OK) {
        return status;
    }
    NatsMessage message(raw);
    if (order != nullptr) {
        status = natsMsgHeader_Set(raw, kOrderHeader, order);
    }
    if (status == NATS_OK && takesShared) {
        status = natsMsgHeader_Set(raw, kLiveHeader, kLiveShared);
    }
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
void NatsConnection::writeOut(bool writeUnderWay, bool moreFollows) {
    if (unwritten_ >= kWriteChunk) {
        // When the last time not all could be written, the reader waits for room.
        if (!congested_) {
            write();
        }
        unwritten_ = 0;
        congested_ = writeWanted_;
    } else if (moreFollows) {
        return;
    } else if (!writeUnderWay) {
        const std::int64_t now = microseconds();
        if (now - std::exchange(lastPublish_, now) > kBurstGap) {
            write();
            lastPublish_ = microseconds();  // which may have taken longer than the gap
        }
    }
    leaveToReader();
}

/// What is still unwritten, where it has not been told yet.
void NatsConnection::leaveToReader() {
    if (writeWanted_ && !flushRequested_.exchange(true)) {
        wake_.raise();
    }
}

void NatsConnection::writeHeld() {
    if (writeWanted_) {
        write();
        lastPublish_ = microseconds();
        leaveToReader();
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

natsStatus NatsConnection::onWriteInterest(void* user, bool add) {
    auto* const self = static_cast<NatsConnection*>(user);
    self->writeWanted_ = add;
    if (add && !publishing) {
        self->wake_.raise();
    }
    return NATS_OK;
}

}  // namespace krpbus
