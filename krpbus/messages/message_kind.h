// What a message is, as one number: for a switch over the messages that somebody takes.
#pragma once

#include <cassert>
#include <cstdint>

#include "krpbus/messages/krp_message.h"

/// The class of a message; for an answer the id of its request as well. Each kind is one C++ type.
using MessageKind = std::uint32_t;

/// The kind of the answers to a request.
constexpr MessageKind answerTo(krpMsgID_t request) {
    return MessageKind{KRPMessageBase::kMessageID} << 16U | request;
}

/// Whether messages of the kind are answers.
constexpr bool isAnswer(MessageKind kind) {
    return kind >> 16U == KRPMessageBase::kMessageID;
}

/// The kind of a message; 0 for none. All requests are of one kind, their class. Any thread.
inline MessageKind kindOf(const MessageBase* message) {
    if (message == nullptr) {
        return 0;
    }
    if (message->getMessageID() == KRPMessageBase::kMessageID) {
        if (const auto* answer = dynamic_cast<const KRPMessageResponse*>(message)) {
            return answerTo(answer->getKrpMsgID());
        }
    }
    return message->getMessageID();
}

/// A message as the type that its kind stands for.
template <class Message>
const Message* as(const MessageBase* message) {
    assert(dynamic_cast<const Message*>(message) != nullptr);
    return static_cast<const Message*>(message);
}
