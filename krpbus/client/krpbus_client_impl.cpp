#include "krpbus/client/krpbus_client_impl.h"

#include <utility>

#include "base/log.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/client/nats_subject.h"

namespace {

/// Room that the encoder keeps between messages.
constexpr std::size_t kKeptBuffer = std::size_t{1024} * 1024;

/// Payloads that have been handed out are destroyed when they are that many, or that many bytes.
constexpr std::size_t kMostSpent = 256;
constexpr std::size_t kMostSpentBytes = std::size_t{64} * 1024;

std::string ownMac(const KRPBusOptions& options) {
    return options.mac.empty() ? KSLUtil::findLowestMAC().toString(std::ios::uppercase)
                               : upperCaseMac(options.mac);
}

}  // namespace

std::string upperCaseMac(const std::string& text) {
    const auto mac = macaddr_t::parse(text);
    return mac ? mac->toString(std::ios::uppercase) : text;
}

KRPBusClient::Impl::Impl(const std::string& name, const std::string& url,
                         const KRPBusOptions& options)
    : name_(name),
      mac_(ownMac(options)),
      ownSubject_(krpbus::participantSubject(mac_, name_)),
      inbox_(options.queueLimit, options.skipAfter),
      connection_(std::make_unique<krpbus::BusConnection>(url, ownSubject_, inbox_.fd(), *this,
                                                          options.probeInterval)) {
    spent_.reserve(kMostSpent);
    listen(ownSubject_, name_);
    listen(krpbus::everybodySubject(mac_), "");
    connect();
}

/// Goes first, since it calls the others.
KRPBusClient::Impl::~Impl() {
    connection_.reset();
}

bool KRPBusClient::Impl::connect() {
    connection_->connect();
    return isConnected();
}

void KRPBusClient::Impl::beginWait() {
    if (inbox_.beginWait()) {
        connection_->beginWait();
    }
}

void KRPBusClient::Impl::endWait() {
    connection_->endWait();
}

bool KRPBusClient::Impl::read() {
    connection_->takeIn();
    return inbox_.look();
}

void KRPBusClient::Impl::listen(const std::string& subject, const std::string& destination) {
    const MutexLocker lock(entrancesMutex_);
    if (entrances_.contains(subject)) {
        return;
    }
    const auto entry =
        entrances_.emplace(subject, std::make_unique<const std::string>(destination)).first;
    try {
        connection_->subscribe(subject, *entry->second);
    } catch (...) {
        entrances_.erase(entry);  // who tries again is to be heard
        throw;
    }
}

void KRPBusClient::Impl::endListening(const std::string& subject) {
    const MutexLocker lock(entrancesMutex_);
    const auto entry = entrances_.find(subject);
    if (entry == entrances_.end()) {
        return;
    }
    auto& kept = closed_.emplace_back();  // what may fail comes first
    connection_->unsubscribe(subject);
    kept = std::move(entry->second);
    entrances_.erase(entry);
}

void KRPBusClient::Impl::sendHere(const std::string& source, const std::string& participant,
                                  const MessageBase& message) {
    const MutexLocker lock(sendMutex_);
    // Who receives live data receives a lot of it: the last subject is kept.
    if (participant != lastParticipant_ || lastSubject_.empty()) {
        lastSubject_.clear();  // a failure must not leave the one with the other's name
        lastParticipant_ = participant;
        lastSubject_ = krpbus::participantSubject(mac_, participant);
    }
    publish(source, lastSubject_, message, participant);
}

void KRPBusClient::Impl::send(const std::string& source, const std::string& subject,
                              const MessageBase& message, const std::string& whom) {
    const MutexLocker lock(sendMutex_);
    publish(source, subject, message, whom);
}

void KRPBusClient::Impl::publish(const std::string& source, const std::string& subject,
                                 const MessageBase& message, const std::string& whom) {
    writer_.clear();
    message.encode(writer_);
    const auto result = connection_->publish(
        subject, source == name_ ? ownSubject_ : krpbus::participantSubject(mac_, source),
        writer_.bytes(), bursts_ > 0);
    if (result != krpbus::SendResult::Sent) {
        logNotSent(result, whom);
    }
    writer_.shrink(kKeptBuffer);
}

void KRPBusClient::Impl::beginBurst() {
    const MutexLocker lock(sendMutex_);
    ++bursts_;
}

void KRPBusClient::Impl::endBurst() {
    const MutexLocker lock(sendMutex_);
    if (--bursts_ == 0) {
        connection_->writeHeld();
    }
}

void KRPBusClient::Impl::logNotSent(krpbus::SendResult result, const std::string& whom) const {
    std::string text = "message to " + whom + " dropped: ";
    switch (result) {
        case krpbus::SendResult::NotConnected:
            text += "no connection to the bus server";
            break;
        case krpbus::SendResult::TooLarge:
            text += std::to_string(writer_.size()) + " bytes are more than the bus server's " +
                    std::to_string(connection_->maxPayload());
            break;
        case krpbus::SendResult::Stuck:
            text += "the bus server does not take any more";
            break;
        case krpbus::SendResult::Sent:
        case krpbus::SendResult::Failed:
            text += "the bus client refused it";
            break;
    }
    LogUtil::log(LogLevel::Error, "sendTo", text);
}

/// The server says where to answer that it knows nobody, but not whom. So behind the probe there is
/// a message to that place that comes back in any case: when a refusal stands before it, it was
/// about this address.
void KRPBusClient::Impl::probe(const std::string& mac, const std::string& participant,
                               const std::string& address) {
    listen(krpbus::probeWildcard(mac_, name_), "");
    const std::string answer = krpbus::probeSubject(mac_, name_, address);
    const MutexLocker lock(sendMutex_);
    connection_->publish(krpbus::participantSubject(mac, participant), answer, {});
    connection_->publish(answer, ownSubject_, {});
}

/// Somebody's probe, or what we have sent behind one of ours.
bool KRPBusClient::Impl::takeProbe(const krpbus::Received& received) {
    natsMsg* const message = received.message.get();
    if (natsMsg_GetDataLength(message) != 0) {
        return false;
    }
    if (received.behindRefusal) {
        if (auto address = krpbus::parseProbeSubject(natsMsg_GetSubject(message))) {
            inbox_.addVanished(std::move(*address));
        }
    }
    return true;
}

void KRPBusClient::Impl::onReceived(std::vector<krpbus::Received>& received, Reader reader) {
    std::erase_if(received, [this](const krpbus::Received& one) { return takeProbe(one); });
    if (received.empty()) {
        return;
    }
    if (reader == Reader::Consumer ? inbox_.pushOwn(received) : inbox_.push(received)) {
        LogUtil::log(LogLevel::Error, "receive",
                     "too much is waiting to be read, dropped all of it");
    }
}

std::unique_ptr<MessageBase> KRPBusClient::Impl::unpack(const krpbus::Received& received) {
    const natsMsg* const payload = received.message.get();
    const auto size = static_cast<std::size_t>(natsMsg_GetDataLength(payload));
    auto message = MessageBase::decode(
        {reinterpret_cast<const std::uint8_t*>(natsMsg_GetData(payload)), size});
    const char* const reply = natsMsg_GetReply(payload);
    if (!message) {
        LogUtil::log(LogLevel::Error, "getMessage",
                     "dropped " + std::to_string(size) + " bytes that are no message, from " +
                         (reply != nullptr ? reply : "an unknown sender"));
        return nullptr;
    }
    message->setSource(senderOf(reply != nullptr ? reply : ""));
    message->setDestination(*received.destination);
    return message;
}

void KRPBusClient::Impl::discard(krpbus::Received&& received) {
    spentBytes_ += static_cast<std::size_t>(natsMsg_GetDataLength(received.message.get()));
    spent_.push_back(std::move(received));
    if (spent_.size() >= kMostSpent || spentBytes_ >= kMostSpentBytes) {
        spent_.clear();
        spentBytes_ = 0;
    }
}

/// The address that answers to a reply subject go to. Senders repeat, so the last one is kept.
const std::string& KRPBusClient::Impl::senderOf(std::string_view reply) {
    if (reply != lastReply_) {
        // A failure must not leave the one with the other's name.
        std::string known(reply);
        const auto sender = krpbus::parseParticipantSubject(reply);
        if (!sender) {
            lastSender_.clear();
        } else if (sender->mac == mac_) {
            lastSender_ = sender->participant;
        } else {
            lastSender_ = KSLUtil::createKslRouterMsgAddress(0, sender->mac, sender->participant);
        }
        lastReply_ = std::move(known);
    }
    return lastSender_;
}
