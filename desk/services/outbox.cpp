#include "desk/services/outbox.h"

#include <utility>

#include "krpbus/messages/participants.h"

namespace desk {

void Outbox::add(const std::string& client, std::unique_ptr<MessageBase> message) {
    if (waiting_.empty()) {
        // The agenda leaves for its next round what is added while it runs.
        agenda_.at(Clock::now(), [this] { send(); });
    }
    waiting_[client].push_back(std::move(message));
}

void Outbox::send() {
    const KRPBusClient::Burst burst(bus_);
    for (auto& [client, messages] : waiting_) {
        for (auto& message : messages) {
            bus_.sendTo(std::string(kHandheldServer), client, std::move(message));
        }
    }
    waiting_.clear();
}

}  // namespace desk
