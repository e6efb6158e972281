#include "krpbus/client/krpbus_client_impl.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/client/live_batch.h"
#include "krpbus/client/nats_subject.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/system_message.h"

namespace {

/// Payloads that have been handed out are destroyed when they are that many, or that many bytes.
constexpr std::size_t kMostSpent = 256;
constexpr std::size_t kMostSpentBytes = std::size_t{64} * 1024;

/// Whether the message, or the one in an envelope, is such that its sender says it.
bool saysThatItTakesShared(const MessageBase& message) {
    if (message.getMessageID() == RouterMessage::kMessageID) {
        const MessageBase* const inner = dynamic_cast<const RouterMessage&>(message).getMessage();
        return inner != nullptr && saysThatItTakesShared(*inner);
    }
    return message.takesShared();
}

/// Notes at a message that asks for something what its sender has said beside the bytes.
void noteTakesShared(MessageBase& message, natsMsg* payload) {
    if (message.getMessageID() == RouterMessage::kMessageID) {
        if (MessageBase* const inner = dynamic_cast<RouterMessage&>(message).getMessage()) {
            noteTakesShared(*inner, payload);
        }
    } else if (message.getMessageID() == SystemMessage::kMessageID) {
        const char* value = nullptr;
        message.setTakesShared(natsMsgHeader_Get(payload, krpbus::kLiveHeader, &value) == NATS_OK &&
                               value != nullptr && value == std::string_view(krpbus::kLiveShared));
    }
}

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
    publishWritten(source, subject, {.takesShared = saysThatItTakesShared(message)}, whom);
}

/// Publishes what is in writer_.
void KRPBusClient::Impl::publishWritten(const std::string& source, const std::string& subject,
                                        krpbus::Sending sending, const std::string& whom) {
    sending.moreFollows = bursts_ > 0;
    const auto result = connection_->publish(
        subject, source == name_ ? ownSubject_ : krpbus::participantSubject(mac_, source),
        writer_.bytes(), sending);
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
    if (!received.payload.empty()) {
        return false;
    }
    if (received.behindRefusal) {
        const char* const subject = natsMsg_GetSubject(received.message.get());
        if (auto address = krpbus::parseProbeSubject(subject)) {
            inbox_.addVanished(std::move(*address));
        }
    }
    return true;
}

void KRPBusClient::Impl::onReceived(std::vector<krpbus::Received>& received, Reader reader) {
    std::erase_if(received, [this](const krpbus::Received& one) { return takeProbe(one); });
    splitBatches(received);
    if (received.empty()) {
        return;
    }
    if (reader == Reader::Consumer ? inbox_.pushOwn(received) : inbox_.push(received)) {
        LogUtil::log(LogLevel::Error, "receive",
                     "too much is waiting to be read, dropped all of it");
    }
}

std::unique_ptr<MessageBase> KRPBusClient::Impl::unpack(const krpbus::Received& received) {
    auto message = MessageBase::decode(received.payload);
    const char* const reply = natsMsg_GetReply(received.message.get());
    if (!message) {
        LogUtil::log(LogLevel::Error, "getMessage",
                     "dropped " + std::to_string(received.payload.size()) +
                         " bytes that are no message, from " +
                         (reply != nullptr ? reply : "an unknown sender"));
        return nullptr;
    }
    noteTakesShared(*message, received.message.get());
    const std::string& sender = senderOf(reply != nullptr ? reply : "");
    if (received.sentForMany && lastIsElsewhere_) {
        message = envelop(std::move(message), sender);
    }
    message->setSource(sender);
    message->setDestination(*received.destination);
    return message;
}

void KRPBusClient::Impl::discard(krpbus::Received&& received) {
    spentBytes_ += received.payload.size();
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
        const bool isElsewhere = sender && sender->mac != mac_;
        if (!sender) {
            lastSender_.clear();
        } else if (!isElsewhere) {
            lastSender_ = sender->participant;
        } else {
            lastSender_ = KSLUtil::createKslRouterMsgAddress(0, sender->mac, sender->participant);
        }
        lastReply_ = std::move(known);
        lastIsElsewhere_ = isElsewhere;
    }
    return lastSender_;
}
