// Live data that is due at one moment, whichever service it comes from.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "desk/loop/agenda.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Sends what has been put into it since it was last empty to one client after the other, once all
/// services have done what they had to do at this moment: what goes to the same client follows each
/// other, so that the bus server hands it on at once and its receiver wakes up once. One thread.
class Outbox {
  public:
    /// Both must outlive this object, and the agenda must not run afterwards.
    Outbox(KRPBusClient& bus, Agenda& agenda) : bus_(bus), agenda_(agenda) {}

    /// From "HandheldServer"; in the order of the calls.
    void add(const std::string& client, std::unique_ptr<MessageBase> message);

  private:
    void send();

    KRPBusClient& bus_;
    Agenda& agenda_;
    std::map<std::string, std::vector<std::unique_ptr<MessageBase>>> waiting_;  // by client
};

}  // namespace desk
