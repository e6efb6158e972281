// Live data that is sent once for many clients, at its sender and at those who listen.
#include <algorithm>
#include <utility>

#include "base/log.h"
#include "krpbus/client/krpbus_client_impl.h"
#include "krpbus/client/live_batch.h"
#include "krpbus/client/nats_subject.h"
#include "krpbus/messages/router_message.h"

using krpbus::LiveData;
using krpbus::LiveReach;
using krpbus::Received;

namespace {

/// So much travels together, in bytes. More would save nothing any more, and of a payload that is
/// kept for one newest value the rest is kept, too.
constexpr std::size_t kMostTogether = std::size_t{16} * 1024;

bool isBatch(const Received& received) {
    return krpbus::isLiveSubject(natsMsg_GetSubject(received.message.get()));
}

}  // namespace

/// Well below what the server takes, where it takes little.
std::size_t KRPBusClient::Impl::batchLimit() const {
    const auto taken = std::max<std::int64_t>(connection_->maxPayload() / 2, 0);
    return static_cast<std::size_t>(std::min<std::int64_t>(kMostTogether, taken));
}

void KRPBusClient::Impl::sendLive(const std::string& source, LiveData data,
                                  const std::vector<std::string>& loggers,
                                  const std::vector<std::unique_ptr<MessageBase>>& messages) {
    const std::vector<std::string> own{mac_};
    const bool isForOwn = loggers.empty();
    const std::string subject =
        krpbus::liveSubject(mac_, data, isForOwn ? LiveReach::OwnLogger : LiveReach::OtherLoggers);
    const std::string whom = isForOwn ? "the sessions of this logger" : "other loggers' sessions";
    const std::size_t limit = batchLimit();
    const MutexLocker lock(sendMutex_);
    bool isEmpty = true;
    for (const auto& message : messages) {
        part_.clear();
        message->encode(part_);
        if (!isEmpty && writer_.size() + sizeof(std::uint32_t) + part_.size() > limit) {
            publishWritten(source, subject, {.forMany = true}, whom);
            isEmpty = true;
        }
        if (isEmpty) {
            writer_.clear();
            krpbus::beginBatch(writer_, isForOwn ? own : loggers);
        }
        krpbus::addToBatch(writer_, part_.bytes());
        isEmpty = false;
    }
    if (!isEmpty) {
        publishWritten(source, subject, {.forMany = true}, whom);
    }
    part_.shrink(kKeptBuffer);
}

void KRPBusClient::Impl::listenToLive(LiveData data) {
    const MutexLocker lock(entrancesMutex_);
    if (!listening_.insert(data).second) {
        return;
    }
    try {
        connection_->subscribe(krpbus::liveSubject(mac_, data, LiveReach::OwnLogger), name_);
        connection_->subscribe(krpbus::liveSubject("", data, LiveReach::OtherLoggers), name_);
    } catch (...) {
        stopListening(data);  // who tries again is to be heard
        throw;
    }
}

void KRPBusClient::Impl::endListeningToLive(LiveData data) {
    const MutexLocker lock(entrancesMutex_);
    if (listening_.contains(data)) {
        stopListening(data);
    }
}

bool KRPBusClient::Impl::listensToLive(LiveData data) const {
    const MutexLocker lock(entrancesMutex_);
    return listening_.contains(data);
}

void KRPBusClient::Impl::stopListening(LiveData data) {
    connection_->unsubscribe(krpbus::liveSubject(mac_, data, LiveReach::OwnLogger));
    connection_->unsubscribe(krpbus::liveSubject("", data, LiveReach::OtherLoggers));
    listening_.erase(data);
}

/// Afterwards each message stands for itself, wherever it came in.
void KRPBusClient::Impl::splitBatches(std::vector<Received>& received) {
    if (std::none_of(received.begin(), received.end(), isBatch)) {
        return;
    }
    split_.clear();  // where the last time was broken off
    for (Received& one : received) {
        if (!isBatch(one)) {
            split_.push_back(std::move(one));
        } else if (!krpbus::splitBatch(one, mac_, split_)) {
            const char* const reply = natsMsg_GetReply(one.message.get());
            LogUtil::log(LogLevel::Error, "receive",
                         "dropped " + std::to_string(one.payload.size()) +
                             " bytes that are no messages of live data, from " +
                             (reply != nullptr ? reply : "an unknown sender"));
        }
    }
    received.swap(split_);
    split_.clear();
}

/// As the sender would have put it around what it sends to this client alone.
std::unique_ptr<MessageBase> KRPBusClient::Impl::envelop(std::unique_ptr<MessageBase> message,
                                                         const std::string& sender) const {
    return std::make_unique<RouterMessage>(sender, name_, std::move(message));
}
