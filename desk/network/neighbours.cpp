#include "desk/network/neighbours.h"

#include <algorithm>

namespace desk {

namespace {

/// How much later than this logger another one may find the bus server again.
constexpr Milliseconds kReconnectSpread{3000};

}  // namespace

/// With half of the time-out or less, a pause of the bus makes the own heartbeat stale before it
/// makes a neighbour expire.
Neighbours::Neighbours(Milliseconds heartbeat, Milliseconds timeout)
    : freshFor_(2 * heartbeat), timeout_(timeout) {}

bool Neighbours::heard(const std::string& mac, const std::string& instance, Clock::time_point now) {
    const auto [member, isNew] = members_.try_emplace(mac);
    member->second.instance = instance;
    member->second.deadline = std::max(member->second.deadline, now + timeout_);
    return isNew;
}

bool Neighbours::left(const std::string& mac, const std::string& instance) {
    const auto member = members_.find(mac);
    if (member == members_.end() || member->second.instance != instance) {
        return false;
    }
    members_.erase(member);
    return true;
}

bool Neighbours::expire(Clock::time_point now) {
    if (!ownHeartbeatIsFresh(now)) {
        return false;
    }
    return std::erase_if(members_,
                         [now](const auto& entry) { return entry.second.deadline < now; }) != 0;
}

void Neighbours::ownHeartbeatCameBack(Clock::time_point now) {
    if (!ownHeartbeatIsFresh(now)) {
        postponeDeadlines(now + timeout_);
    }
    ownHeartbeat_ = now;
}

void Neighbours::busCameBack(Clock::time_point now) {
    ownHeartbeat_.reset();
    postponeDeadlines(now + timeout_ + kReconnectSpread);
}

std::vector<std::string> Neighbours::macs() const {
    std::vector<std::string> result;
    for (const auto& entry : members_) {
        result.push_back(entry.first);
    }
    return result;
}

bool Neighbours::ownHeartbeatIsFresh(Clock::time_point now) const {
    return ownHeartbeat_ && now - *ownHeartbeat_ <= freshFor_;
}

void Neighbours::postponeDeadlines(Clock::time_point earliest) {
    for (auto& entry : members_) {
        entry.second.deadline = std::max(entry.second.deadline, earliest);
    }
}

}  // namespace desk
