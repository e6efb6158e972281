// How a logger misbehaves on purpose.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "desk/loop/duration.h"
#include "krpbus/messages/krp_message.h"

namespace desk {

/// An answer that carries no result but says why.
struct Failure {
    std::uint8_t status = KRPMessageResponse::KRPSTATUS_ERROR;
    errorCode_t errorCode = errorCode_t::Internal;
    std::string description;

    bool operator==(const Failure&) const = default;
};

/// What a logger does with the requests of one id.
struct Behaviour {
    Milliseconds delay{0};           // before each answer
    std::uint32_t busy = 0;          // how many requests are answered "busy" first
    std::optional<Failure> failure;  // answered instead of what was asked for
    std::uint32_t answers = 1;       // how often each request is answered; 0: not at all
    bool malformed = false;          // the answer's bytes stop in the middle
    bool leave = false;              // the logger leaves the network instead of answering

    bool operator==(const Behaviour&) const = default;
};

/// A whole scenario; one that is empty lets the logger behave well.
struct Scenario {
    std::map<krpMsgID_t, Behaviour> requests;
    Behaviour others;                        // for the requests that have no entry
    std::optional<Milliseconds> leaveAfter;  // leaves in good order, counted from being ready
    std::optional<Milliseconds> dieAfter;    // goes without a word

    /// The behaviour for requests of that id.
    const Behaviour& behaviour(krpMsgID_t id) const {
        const auto entry = requests.find(id);
        return entry == requests.end() ? others : entry->second;
    }
};

}  // namespace desk
