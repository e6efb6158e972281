#include "tests/kit/bus_loggers.h"

#include <poll.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/patient_connect.h"

namespace {

constexpr std::chrono::seconds kPatience{20};
/// What a logger sends to itself; a type that nobody else uses.
constexpr unsigned char kSettled = 200;

KRPBusOptions optionsFor(const std::string& mac) {
    KRPBusOptions options;
    options.mac = mac;
    return options;
}

}  // namespace

BusLogger::BusLogger(const std::string& mac, LoggerFacts facts, unsigned short port)
    : mac_(mac),
      client_("HandheldServer", "127.0.0.1", port, optionsFor(mac)),
      facts_(std::move(facts)) {
    if (!connectPatiently(client_)) {
        throw std::runtime_error("no bus server for the logger " + mac);
    }
    client_.addParticipant("KSLForwarder");
    client_.addParticipant("KRPBusServer");
    thread_ = std::thread(&BusLogger::serve, this);
    settle();
}

BusLogger::~BusLogger() {
    stop_ = true;
    thread_.join();
}

void BusLogger::settle() {
    std::unique_lock lock(mutex_);
    const int round = ++settling_;
    do {
        lock.unlock();
        client_.sendTo("HandheldServer", "HandheldServer",
                       std::make_unique<SystemMessage>(kSettled, std::to_string(round)));
        lock.lock();
    } while (!changed_.wait_for(lock, std::chrono::milliseconds(200),
                                [&] { return settled_ == round; }));
}

void BusLogger::setFacts(LoggerFacts facts) {
    const std::lock_guard lock(mutex_);
    facts_ = std::move(facts);
}

void BusLogger::behave(krpMsgID_t request, LoggerBehaviour behaviour) {
    const std::lock_guard lock(mutex_);
    behaviours_[request] = std::move(behaviour);
}

void BusLogger::addAnswer(std::unique_ptr<KRPMessageResponse> answer) {
    const std::lock_guard lock(mutex_);
    answers_[answer->getKrpMsgID()] = std::move(answer);
}

int BusLogger::requests(krpMsgID_t request) const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(std::count(requests_.begin(), requests_.end(), request));
}

std::vector<krpMsgID_t> BusLogger::requestOrder() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

bool BusLogger::waitForRequests(krpMsgID_t request, int count) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] {
        return std::count(requests_.begin(), requests_.end(), request) >= count;
    });
}

std::vector<std::string> BusLogger::received() const {
    const std::lock_guard lock(mutex_);
    return received_;
}

bool BusLogger::waitForReceived(const std::string& part) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] {
        return std::any_of(received_.begin(), received_.end(), [&](const std::string& line) {
            return line.find(part) != std::string::npos;
        });
    });
}

void BusLogger::serve() {
    while (!stop_) {
        pollfd waiting{client_.getFd(), POLLIN, 0};
        poll(&waiting, 1, replies_.empty() ? 50 : 2);
        client_.read();
        while (const auto message = client_.getMessage()) {
            take(*message);
        }
        sendDue();
    }
}

/// Whether it, or what it carries, says that its sender listens where live data is sent once.
bool BusLogger::takesShared(const MessageBase& message) {
    const auto* const envelope = dynamic_cast<const RouterMessage*>(&message);
    const MessageBase* const inner = envelope != nullptr ? envelope->getMessage() : nullptr;
    return message.takesShared() || (inner != nullptr && inner->takesShared());
}

void BusLogger::take(MessageBase& message) {
    const auto* system = dynamic_cast<const SystemMessage*>(&message);
    if (system != nullptr && system->getType() == kSettled) {
        sendDue();  // what came before has been answered by then
        const std::lock_guard lock(mutex_);
        settled_ = std::stoi(system->getText());
        changed_.notify_all();
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        received_.push_back(message.getDestination() + " from " + message.getSource() + ": " +
                            message.toString() + (takesShared(message) ? " [shared]" : ""));
        if (const auto* request = dynamic_cast<const KRPMessageRequest*>(&message)) {
            requests_.push_back(request->getKrpMsgID());
        }
        changed_.notify_all();
    }
    if (const auto* envelope = dynamic_cast<const RouterMessage*>(&message)) {
        forward(*envelope, message.getSource());
    } else if (const auto* request = dynamic_cast<const KRPMessageRequest*>(&message)) {
        reply(*request);
    }
}

void BusLogger::forward(const RouterMessage& envelope, const std::string& source) {
    const auto address = KSLUtil::splitAddress(envelope.getDestinationAddress());
    if (!address || envelope.getMessage() == nullptr) {
        return;
    }
    std::vector<std::string> macs{address->mac};
    if (address->allOthers) {
        const std::lock_guard lock(mutex_);
        macs = facts_.neighbours;
    }
    for (const std::string& mac : macs) {
        client_.sendToLogger(source, mac, address->participant, envelope.getMessage()->clone());
    }
}

void BusLogger::reply(const KRPMessageRequest& request) {
    LoggerBehaviour behaviour;
    std::unique_ptr<KRPMessageResponse> answer;
    {
        const std::lock_guard lock(mutex_);
        behaviour = behaviours_[request.getKrpMsgID()];
        answer = answerTo(request.getKrpMsgID());
    }
    if (answer == nullptr) {
        return;
    }
    if (behaviour.status != KRPMessageResponse::KRPSTATUS_OK) {
        answer->setError(behaviour.status, behaviour.error, behaviour.description);
    }
    const auto due = std::chrono::steady_clock::now() + behaviour.delay;
    for (int i = 0; i < behaviour.answers; ++i) {
        replies_.push_back({due, request.getDestination(), request.getSource(), answer->clone()});
    }
}

std::unique_ptr<KRPMessageResponse> BusLogger::answerTo(krpMsgID_t request) const {
    switch (request) {
        case 23:
            return std::make_unique<Simple1MessageResponse<23, unsigned char>>(facts_.status);
        case 53:
            return std::make_unique<StringMessageResponse<53, 1>>(facts_.timeZone);
        case 82:
            return std::make_unique<String2MessageResponse<82>>(facts_.configName,
                                                                facts_.loggerName);
        case 88:
            return std::make_unique<StringVectorMessageResponse<88>>(facts_.neighbours);
        case 89:
            return std::make_unique<Simple1MessageResponse<89, long long>>(facts_.timeOffset);
        case 117:
            return std::make_unique<KRPResponseGetDeviceComponents>(
                facts_.deviceClass, facts_.subType, facts_.softwareVersion, facts_.loggerName);
        default:
            return addedAnswer(request);
    }
}

std::unique_ptr<KRPMessageResponse> BusLogger::addedAnswer(krpMsgID_t request) const {
    const auto found = answers_.find(request);
    if (found == answers_.end()) {
        return nullptr;
    }
    return std::unique_ptr<KRPMessageResponse>(
        static_cast<KRPMessageResponse*>(found->second->clone().release()));
}

void BusLogger::sendDue() {
    const auto now = std::chrono::steady_clock::now();
    for (auto reply = replies_.begin(); reply != replies_.end();) {
        if (reply->due > now) {
            ++reply;
            continue;
        }
        client_.sendTo(reply->participant, reply->destination, std::move(reply->answer));
        reply = replies_.erase(reply);
    }
}
