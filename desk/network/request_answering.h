// From a request to its answer, by way of the services and the scenario.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "desk/loop/agenda.h"
#include "desk/scenario/scenario.h"
#include "desk/services/service.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Answers every request: by the service that knows it, otherwise with an error. Misbehaves as the
/// scenario says. What is passed to the constructor must outlive this object.
class RequestAnswering {
  public:
    /// Every answer takes `latency`, and what the scenario adds. `leave` is called when the
    /// scenario lets the logger leave on account of a request.
    RequestAnswering(KRPBusClient& bus, Agenda& agenda, const Scenario& scenario,
                     Milliseconds latency, std::vector<Service*> services,
                     std::function<void()> leave);

    void handle(const KRPMessageRequest& request);

  private:
    std::unique_ptr<KRPMessageResponse> findAnswer(const KRPMessageRequest& request) const;
    std::unique_ptr<MessageBase> makeAnswer(const KRPMessageRequest& request,
                                            const Behaviour& behaviour);
    bool isBusy(krpMsgID_t id, const Behaviour& behaviour);
    void send(const KRPMessageRequest& request, const Behaviour& behaviour,
              std::shared_ptr<const MessageBase> answer);

    KRPBusClient& bus_;
    Agenda& agenda_;
    const Scenario& scenario_;
    Milliseconds latency_;
    std::vector<Service*> services_;
    std::function<void()> leave_;
    std::map<krpMsgID_t, std::uint32_t> busyAnswers_;  // given so far
};

}  // namespace desk
