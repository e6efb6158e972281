#include "desk/services/audience.h"

#include "base/log.h"

namespace desk {

void Audience::add(const std::string& address) {
    listeners_.try_emplace(address);
    if (!lookDue_) {
        lookDue_ = true;
        agenda_.after(interval_, [this] { look(); });
    }
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
