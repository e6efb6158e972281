#include "desk/services/outbox.h"

#include <utility>

#include "krpbus/messages/participants.h"

namespace desk {

void Outbox::add(const std::string& client, std::unique_ptr<MessageBase> message) {
    beDue();
    waiting_[client].push_back(std::move(message));
}

/// Of what waits, all goes to the loggers that are named last: who has come meanwhile is to get
/// what was added since, and who has gone does not listen any more.
void Outbox::addForMany(krpbus::LiveData data, const std::vector<std::string>& loggers,
                        std::unique_ptr<MessageBase> message) {
    beDue();
    ForMany& waiting = waitingForMany_[{data, !loggers.empty()}];
    waiting.loggers = loggers;
    waiting.messages.push_back(std::move(message));
}

void Outbox::beDue() {
    if (!isDue_) {
        // The agenda leaves for its next round what is added while it runs.
        agenda_.at(Clock::now(), [this] { send(); });
        isDue_ = true;
    }
}

void Outbox::send() {
    isDue_ = false;
    const KRPBusClient::Burst burst(bus_);
    for (auto& [client, messages] : waiting_) {
        for (auto& message : messages) {
            bus_.sendTo(std::string(kHandheldServer), client, std::move(message));
        }
    }
    waiting_.clear();
    for (const auto& [key, waiting] : waitingForMany_) {
        bus_.sendLive(std::string(kHandheldServer), key.first, waiting.loggers, waiting.messages);
    }
    waitingForMany_.clear();
}

}  // namespace desk
