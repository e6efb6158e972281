// The clients of the bus that have switched live data on.
#pragma once

#include <map>
#include <set>
#include <string>

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

    /// Takes the client in; one that listens already changes nothing.
    void add(const std::string& address);
    /// A client that does not listen changes nothing.
    void remove(const std::string& address) { listeners_.erase(address); }
    bool empty() const { return listeners_.empty(); }
    std::set<std::string> addresses() const;

    /// The bus server knows nobody by the address, which may be that of any client.
    void missing(const std::string& address);

  private:
    struct Listener {
        int missingRounds = 0;
        bool missingNow = false;
    };
    void look();

    KRPBusClient& bus_;
    Agenda& agenda_;
    const Clock::duration interval_;
    std::map<std::string, Listener> listeners_;
    bool lookDue_ = false;
};

}  // namespace desk
