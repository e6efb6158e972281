// Who is told what happens on a connection to the bus server.
#pragma once

#include <vector>

#include "krpbus/client/received.h"

namespace krpbus {

/// What the owner is told. The calls come one at a time with a lock held: they must not call the
/// connection and not wait.
class BusListener {
  public:
    virtual ~BusListener() = default;
    /// Connected, first or again; what was wanted is subscribed to. From the reader thread or
    /// connect().
    virtual void onConnected() = 0;
    /// The connection is lost, and everything that came over it has been handed on. From the reader
    /// thread.
    virtual void onDisconnected() = 0;
    /// What has come in, which may be taken out of the list. From whoever reads: the reader thread
    /// or the consumer, which goes on with it at once.
    enum class Reader { Thread, Consumer };
    virtual void onReceived(std::vector<Received>& received, Reader reader) = 0;
};

}  // namespace krpbus
