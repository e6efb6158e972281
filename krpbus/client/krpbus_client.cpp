#include "krpbus/client/krpbus_client.h"

#include <system_error>

#include "base/kr_exception.h"
#include "base/log.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/client/krpbus_client_impl.h"
#include "krpbus/client/nats_subject.h"
#include "krpbus/client/server_url.h"
#include "krpbus/messages/router_message.h"

KRPBusClient::KRPBusClient(const std::string& name, const std::string& host, unsigned short port,
                           const KRPBusOptions& options) {
    MessageBase::registerMessages();
    try {
        const std::string url = krpbus::serverUrl(host, port);
        server_ = krpbus::withoutCredentials(url);
        impl_ = std::make_unique<Impl>(name, url, options);
    } catch (const std::system_error& error) {
        throw KRException(std::string("[ERROR] cannot create KRPBusClient: ") + error.what());
    }
}

KRPBusClient::~KRPBusClient() = default;

bool KRPBusClient::connectToServer() {
    return impl_->connect();
}

bool KRPBusClient::isConnected() const {
    return impl_->isConnected();
}

std::uint32_t KRPBusClient::getConnectionCount() const {
    return impl_->inbox().connectionCount();
}

KRPBusClient::Burst::Burst(KRPBusClient& client) : client_(client) {
    client_.impl_->beginBurst();
}

KRPBusClient::Burst::~Burst() {
    client_.impl_->endBurst();
}

KRPBusClient::Waiting::Waiting(KRPBusClient& client) : client_(client) {
    client_.impl_->beginWait();
}

KRPBusClient::Waiting::~Waiting() {
    client_.impl_->endWait();
}

int KRPBusClient::getFd() const {
    return impl_->fd();
}

bool KRPBusClient::read() {
    return impl_->read();
}

std::unique_ptr<MessageBase> KRPBusClient::getMessage() {
    for (;;) {
        std::uint64_t skipped = 0;
        krpbus::Received received = impl_->inbox().pop(skipped);
        if (skipped > 0) {
            LogUtil::logPieces(LogLevel::Info, "getMessage",
                               {"skipped ", std::to_string(skipped),
                                " older values of live data, since nobody read them"});
        }
        if (!received.message) {
            return nullptr;
        }
        auto message = impl_->unpack(received);
        impl_->discard(std::move(received));
        if (message) {
            return message;
        }
    }
}

void KRPBusClient::sendTo(const std::string& source, const std::string& destination,
                          std::unique_ptr<MessageBase>&& message) {
    std::unique_ptr<MessageBase> owned = std::move(message);
    if (!owned) {
        return;
    }
    const auto address = KSLUtil::splitAddress(destination);
    if (!address || address->mac == impl_->mac()) {
        impl_->sendHere(source, address ? address->participant : destination, *owned);
        return;
    }
    if (address->allOthers) {
        LogUtil::log(
            LogLevel::Error, "sendTo",
            "message to " + destination + " dropped: only the forwarder reaches all other loggers");
        return;
    }
    const RouterMessage envelope(KSLUtil::createKslRouterMsgAddress(0, impl_->mac(), source),
                                 address->participant, std::move(owned));
    impl_->send(source, krpbus::participantSubject(address->mac, address->participant), envelope,
                destination);
}

void KRPBusClient::sendToBus(const std::string& source, const std::string& bus,
                             std::unique_ptr<MessageBase>&& message) {
    if (const std::unique_ptr<MessageBase> owned = std::move(message)) {
        impl_->send(source, krpbus::busSubject(impl_->mac(), bus), *owned, "bus " + bus);
    }
}

void KRPBusClient::sendToAll(const std::string& source, std::unique_ptr<MessageBase>&& message) {
    if (const std::unique_ptr<MessageBase> owned = std::move(message)) {
        impl_->send(source, krpbus::everybodySubject(impl_->mac()), *owned, "everybody");
    }
}

void KRPBusClient::sendToLogger(const std::string& source, const std::string& mac,
                                const std::string& destination,
                                std::unique_ptr<MessageBase>&& message) {
    if (const std::unique_ptr<MessageBase> owned = std::move(message)) {
        impl_->send(source, krpbus::participantSubject(upperCaseMac(mac), destination), *owned,
                    destination + " on " + mac);
    }
}

void KRPBusClient::sendLive(const std::string& source, krpbus::LiveData data,
                            const std::vector<std::string>& loggers,
                            const std::vector<std::unique_ptr<MessageBase>>& messages) {
    impl_->sendLive(source, data, loggers, messages);
}

void KRPBusClient::listenToLive(krpbus::LiveData data) {
    impl_->listenToLive(data);
}

bool KRPBusClient::listensToLive(krpbus::LiveData data) const {
    return impl_->listensToLive(data);
}

void KRPBusClient::endListeningToLive(krpbus::LiveData data) {
    impl_->endListeningToLive(data);
}

void KRPBusClient::registerBus(const std::string& bus) {
    impl_->listen(krpbus::busSubject(impl_->mac(), bus), bus);
}

void KRPBusClient::registerNetworkBus(const std::string& bus) {
    impl_->listen(krpbus::busSubject("", bus), bus);
}

void KRPBusClient::unRegisterBus(const std::string& bus) {
    impl_->endListening(krpbus::busSubject(impl_->mac(), bus));
    impl_->endListening(krpbus::busSubject("", bus));
}

void KRPBusClient::addParticipant(const std::string& name) {
    impl_->listen(krpbus::participantSubject(impl_->mac(), name), name);
}

void KRPBusClient::probe(const std::string& address) {
    const auto parts = KSLUtil::splitAddress(address);
    if (!parts) {
        impl_->probe(impl_->mac(), address, address);
    } else if (!parts->allOthers) {
        impl_->probe(parts->mac, parts->participant, address);
    }
}

std::vector<std::string> KRPBusClient::takeVanished() {
    return impl_->inbox().takeVanished();
}

const std::string& KRPBusClient::getName() const {
    return impl_->name();
}

const std::string& KRPBusClient::getServer() const {
    return server_;
}

const std::string& KRPBusClient::getMac() const {
    return impl_->mac();
}
