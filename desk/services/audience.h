// The clients of the bus that have switched live data on.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "desk/loop/agenda.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Whom a service sends its live data to. A client that vanishes without switching off, a killed
/// browser for instance, is forgotten: the bus server is asked about every listener about once a
/// second, and one that was missing several times in a row is gone. A single time means nothing,
/// since after a restart of the bus server clients come back one after the other.
class Audience {
  public:
    static constexpr int kMissingRounds = 3;

    /// Both must outlive this object, and the agenda must not run afterwards.
    Audience(KRPBusClient& bus, Agenda& agenda, Clock::duration interval = std::chrono::seconds(1))
        : bus_(bus), agenda_(agenda), interval_(interval) {}

    /// Takes the client in; one that listens already changes nothing but how it is served.
    /// `takesShared`: it listens where live data is sent once for all.
    void add(const std::string& address, bool takesShared = false);
    /// A client that does not listen changes nothing.
    void remove(const std::string& address);
    bool empty() const { return listeners_.empty(); }
    std::set<std::string> addresses() const;

    /// How all listeners are reached, each in one way.
    struct Reach {
        std::vector<std::string> each;          // addresses of those that are served alone
        bool ownLogger = false;                 // some of this logger take what is sent for all
        std::vector<std::string> otherLoggers;  // MAC addresses of those where some do
    };
    /// Valid until a listener comes or goes.
    const Reach& reach();

    /// The bus server knows nobody by the address, which may be that of any client.
    void missing(const std::string& address);

  private:
    struct Listener {
        bool takesShared = false;
        int missingRounds = 0;
        bool missingNow = false;
    };
    void look();

    KRPBusClient& bus_;
    Agenda& agenda_;
    const Clock::duration interval_;
    std::map<std::string, Listener> listeners_;
    Reach reach_;
    bool reachIsKnown_ = false;
    bool lookDue_ = false;
};

}  // namespace desk
