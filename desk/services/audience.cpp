#include "desk/services/audience.h"

#include <optional>
#include <utility>

#include "base/log.h"
#include "krpbus/address/ksl_util.h"

namespace desk {

void Audience::add(const std::string& address, bool takesShared) {
    listeners_[address].takesShared = takesShared;
    reachIsKnown_ = false;
    if (!lookDue_) {
        lookDue_ = true;
        agenda_.after(interval_, [this] { look(); });
    }
}

void Audience::remove(const std::string& address) {
    listeners_.erase(address);
    reachIsKnown_ = false;
}

/// Kept, since values are many and listeners change seldom.
const Audience::Reach& Audience::reach() {
    if (reachIsKnown_) {
        return reach_;
    }
    Reach reach;
    std::set<std::string> otherLoggers;
    for (const auto& [address, listener] : listeners_) {
        const auto parts = KSLUtil::splitAddress(address);
        if (!listener.takesShared) {
            reach.each.push_back(address);
        } else if (parts && parts->mac != bus_.getMac()) {
            otherLoggers.insert(parts->mac);
        } else {
            reach.ownLogger = true;
        }
    }
    reach.otherLoggers.assign(otherLoggers.begin(), otherLoggers.end());
    reach_ = std::move(reach);
    reachIsKnown_ = true;
    return reach_;
}

std::set<std::string> Audience::addresses() const {
    std::set<std::string> addresses;
    for (const auto& [address, listener] : listeners_) {
        addresses.insert(address);
    }
    return addresses;
}

void Audience::missing(const std::string& address) {
    if (const auto entry = listeners_.find(address); entry != listeners_.end()) {
        entry->second.missingNow = true;
    }
}

/// Draws the balance of the last round and begins the next one.
void Audience::look() {
    lookDue_ = false;
    for (auto entry = listeners_.begin(); entry != listeners_.end();) {
        Listener& listener = entry->second;
        listener.missingRounds = listener.missingNow ? listener.missingRounds + 1 : 0;
        listener.missingNow = false;
        if (listener.missingRounds == kMissingRounds) {
            LogUtil::log(LogLevel::Info, "look", entry->first + " has gone and is served no more");
            entry = listeners_.erase(entry);
            reachIsKnown_ = false;
            continue;
        }
        bus_.probe(entry->first);
        ++entry;
    }
    if (!listeners_.empty()) {
        lookDue_ = true;
        agenda_.after(interval_, [this] { look(); });
    }
}

}  // namespace desk
