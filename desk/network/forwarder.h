// The way to the other loggers of the network.
#pragma once

#include "desk/network/neighbours.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/router_message.h"

namespace desk {

/// Forwards what this logger's participants want to say to other loggers. Keeps nothing: answers go
/// from the logger that answers straight to the participant that asked.
class Forwarder {
  public:
    /// Both must outlive the forwarder.
    Forwarder(KRPBusClient& bus, const Neighbours& neighbours)
        : bus_(bus), neighbours_(neighbours) {}

    /// Delivers the message inside to the logger, or to each of the other loggers, that the
    /// destination address names. What cannot be delivered is dropped with one log line.
    void forward(const RouterMessage& message);

  private:
    void deliver(const RouterMessage& message, const std::string& mac,
                 const std::string& participant);

    KRPBusClient& bus_;
    const Neighbours& neighbours_;
};

}  // namespace desk
