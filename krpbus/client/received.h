// A message as it came from the bus.
#pragma once

#include <nats/nats.h>

#include <cstdint>
#include <memory>
#include <string>

namespace krpbus {

struct NatsMsgDeleter {
    void operator()(natsMsg* message) const { natsMsg_Destroy(message); }
};
using NatsMessage = std::unique_ptr<natsMsg, NatsMsgDeleter>;

/// A payload as it came, and what it came in for.
struct Received {
    NatsMessage message;
    const std::string* destination = nullptr;  // not owned; lives as long as the client
    std::int64_t arrived = 0;                  // milliseconds of a steady clock
    /// Between the one before of this subject and this one the bus server has said that it knows
    /// nobody whom a message of ours was for.
    bool behindRefusal = false;
};

}  // namespace krpbus
