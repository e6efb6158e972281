// Live data that is due at one moment, whichever service it comes from.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "desk/loop/agenda.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Sends what has been put into it since it was last empty to one client after the other, once all
/// services have done what they had to do at this moment: what goes to the same client follows each
/// other, so that the bus server hands it on at once and its receiver wakes up once; what goes to
/// many at once travels together. One thread.
class Outbox {
  public:
    /// Both must outlive this object, and the agenda must not run afterwards.
    Outbox(KRPBusClient& bus, Agenda& agenda) : bus_(bus), agenda_(agenda) {}

    /// From "HandheldServer"; in the order of the calls.
    void add(const std::string& client, std::unique_ptr<MessageBase> message);
    /// The same for all sessions at once that listen to live data of this kind: those of the own
    /// logger where `loggers` is empty, else those of these other ones.
    void addForMany(krpbus::LiveData data, const std::vector<std::string>& loggers,
                    std::unique_ptr<MessageBase> message);

  private:
    using Messages = std::vector<std::unique_ptr<MessageBase>>;
    struct ForMany {
        std::vector<std::string> loggers;
        Messages messages;
    };
    void beDue();
    void send();

    KRPBusClient& bus_;
    Agenda& agenda_;
    bool isDue_ = false;                       // send() is on the agenda
    std::map<std::string, Messages> waiting_;  // by client
    /// By what it is about and whether it is for other loggers.
    std::map<std::pair<krpbus::LiveData, bool>, ForMany> waitingForMany_;
};

}  // namespace desk
