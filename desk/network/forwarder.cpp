#include "desk/network/forwarder.h"

#include <string>

#include "base/log.h"
#include "krpbus/address/ksl_util.h"

namespace desk {

namespace {

/// Empty when the message can be forwarded.
std::string whyNot(const RouterMessage& message, const std::optional<KslAddress>& destination) {
    if (message.getMessage() == nullptr) {
        return "there is no message inside";
    }
    if (!destination) {
        return "the destination is no forwarding address";
    }
    // Only the own logger's participants: nothing can go round in circles between forwarders.
    if (message.getSource().empty() || KSLUtil::splitAddress(message.getSource())) {
        return "the sender is no participant of this logger";
    }
    return {};
}

}  // namespace

void Forwarder::forward(const RouterMessage& message) {
    const auto destination = KSLUtil::splitAddress(message.getDestinationAddress());
    std::string reason = whyNot(message, destination);
    if (reason.empty() && destination->allOthers) {
        for (const std::string& mac : neighbours_.macs()) {
            deliver(message, mac, destination->participant);
        }
        return;
    }
    if (reason.empty() && destination->mac != bus_.getMac() &&
        !neighbours_.contains(destination->mac)) {
        reason = "no logger has this address";
    }
    if (!reason.empty()) {
        LogUtil::log(LogLevel::Warning, "forward",
                     "dropped, since " + reason + ": " + message.toString());
        return;
    }
    deliver(message, destination->mac, destination->participant);
}

void Forwarder::deliver(const RouterMessage& message, const std::string& mac,
                        const std::string& participant) {
    LogUtil::log(LogLevel::Debug, "forward",
                 participant + " on " + mac + " for " + message.getSource());
    bus_.sendToLogger(message.getSource(), mac, participant, message.getMessage()->clone());
}

}  // namespace desk
