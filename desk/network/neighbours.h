// Which other loggers are in the network, as their heartbeats show.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "desk/loop/agenda.h"
#include "desk/loop/duration.h"

namespace desk {

/// The set of neighbours. One that is not heard for the time-out is gone, but only while the own
/// heartbeat comes back: when it does not, it is the bus that stands still, and nobody has left.
class Neighbours {
  public:
    /// The time-out must be at least four times the heartbeat's interval.
    Neighbours(Milliseconds heartbeat, Milliseconds timeout);

    /// Each of these returns whether the set has changed.
    bool heard(const std::string& mac, const std::string& instance, Clock::time_point now);
    /// A word of an instance that another one has replaced meanwhile changes nothing.
    bool left(const std::string& mac, const std::string& instance);
    /// Removes the neighbours that have not been heard for too long.
    bool expire(Clock::time_point now);

    /// The own heartbeat has come back. After a pause everybody's time-out begins anew.
    void ownHeartbeatCameBack(Clock::time_point now);
    /// The connection to the bus server is new. Everybody's time-out begins anew, and is longer
    /// once: others may need more time to be connected again.
    void busCameBack(Clock::time_point now);

    bool contains(const std::string& mac) const { return members_.contains(mac); }
    /// In ascending order.
    std::vector<std::string> macs() const;

  private:
    struct Member {
        std::string instance;
        Clock::time_point deadline;
    };

    bool ownHeartbeatIsFresh(Clock::time_point now) const;
    void postponeDeadlines(Clock::time_point earliest);

    const Milliseconds freshFor_;
    const Milliseconds timeout_;
    std::optional<Clock::time_point> ownHeartbeat_;
    std::map<std::string, Member> members_;
};

}  // namespace desk
