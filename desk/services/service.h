// What a logger offers on the bus, one class per subject.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "krpbus/messages/keyboard_message.h"
#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/system_message.h"

namespace desk {

/// One subject of a logger's services. All calls come on the logger's one thread.
class Service {
  public:
    Service() = default;
    virtual ~Service() = default;
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// The participant of the bus whose requests this service answers.
    virtual std::string_view participant() const = 0;

    /// The answer to a request that came in for the participant; null when this service does not
    /// know the request.
    virtual std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) = 0;

    /// Acts on a notice that came in for the participant, "77-LVStartSignals" for instance; false
    /// when it means nothing to this service.
    virtual bool takeNotice(const SystemMessage&) { return false; }

    /// Acts on a key that was pressed or released, when the participant is asked to; false when
    /// keys mean nothing to this service.
    virtual bool takeKey(const KeyboardMessage&) { return false; }

    /// The bus server knows nobody by that address, at this moment.
    virtual void clientMissing(const std::string&) {}
};

}  // namespace desk
