// A message as it came from the bus.
#pragma once

#include <nats/nats.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

namespace krpbus {

struct NatsMsgDeleter {
    void operator()(natsMsg* message) const { natsMsg_Destroy(message); }
};
using NatsMessage = std::unique_ptr<natsMsg, NatsMsgDeleter>;

/// A payload as it came, and what it came in for.
struct Received {
    std::shared_ptr<natsMsg> message;          // what holds the payload, and maybe others' besides
    std::span<const std::uint8_t> payload;     // of this one
    const std::string* destination = nullptr;  // not owned; lives as long as the client
    std::int64_t arrived = 0;                  // milliseconds of a steady clock
    /// Between the one before of this subject and this one the bus server has said that it knows
    /// nobody whom a message of ours was for.
    bool behindRefusal = false;
    /// It was sent once for many: who has it from another logger puts the envelope around it.
    bool sentForMany = false;
};

/// What has come in one publication. Throws std::bad_alloc, and the message is gone then.
inline Received received(NatsMessage message, const std::string* destination = nullptr) {
    Received result;
    result.payload = {reinterpret_cast<const std::uint8_t*>(natsMsg_GetData(message.get())),
                      static_cast<std::size_t>(natsMsg_GetDataLength(message.get()))};
    result.message = std::move(message);
    result.destination = destination;
    return result;
}

}  // namespace krpbus
