#include "desk/network/request_answering.h"

#include <string>
#include <utility>

#include "base/log.h"
#include "desk/network/truncated_message.h"
#include "desk/services/failed_answer.h"

namespace desk {

namespace {

std::string describe(const KRPMessageRequest& request) {
    return "request " + std::to_string(request.getKrpMsgID()) + " for " + request.getDestination() +
           " from " + request.getSource();
}

}  // namespace

RequestAnswering::RequestAnswering(KRPBusClient& bus, Agenda& agenda, const Scenario& scenario,
                                   Milliseconds latency, std::vector<Service*> services,
                                   std::function<void()> leave)
    : bus_(bus),
      agenda_(agenda),
      scenario_(scenario),
      latency_(latency),
      services_(std::move(services)),
      leave_(std::move(leave)) {}

void RequestAnswering::handle(const KRPMessageRequest& request) {
    if (request.getSource().empty()) {
        LogUtil::log(LogLevel::Warning, "handleRequest",
                     "dropped, since nobody could be answered: " + describe(request));
        return;
    }
    LogUtil::log(LogLevel::Debug, "handleRequest", describe(request));
    const Behaviour& behaviour = scenario_.behaviour(request.getKrpMsgID());
    if (behaviour.leave) {
        leave_();
        return;
    }
    if (behaviour.answers != 0) {
        send(request, behaviour, makeAnswer(request, behaviour));
    }
}

std::unique_ptr<KRPMessageResponse> RequestAnswering::findAnswer(
    const KRPMessageRequest& request) const {
    for (Service* const service : services_) {
        if (service->participant() != request.getDestination()) {
            continue;
        }
        if (std::unique_ptr<KRPMessageResponse> answer = service->answer(request)) {
            return answer;
        }
    }
    LogUtil::log(LogLevel::Warning, "findAnswer", "not known here: " + describe(request));
    return std::make_unique<FailedAnswer>(
        request.getKrpMsgID(),
        Failure{KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::UnknownRequest,
                request.getDestination() + " does not know request " +
                    std::to_string(request.getKrpMsgID())});
}

bool RequestAnswering::isBusy(krpMsgID_t id, const Behaviour& behaviour) {
    std::uint32_t& given = busyAnswers_[id];
    if (given == behaviour.busy) {
        return false;
    }
    ++given;
    return true;
}

std::unique_ptr<MessageBase> RequestAnswering::makeAnswer(const KRPMessageRequest& request,
                                                          const Behaviour& behaviour) {
    static const Failure kBusy{KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Busy, "busy"};
    std::unique_ptr<MessageBase> answer;
    if (isBusy(request.getKrpMsgID(), behaviour)) {
        answer = std::make_unique<FailedAnswer>(request.getKrpMsgID(), kBusy);
    } else if (behaviour.failure) {
        answer = std::make_unique<FailedAnswer>(request.getKrpMsgID(), *behaviour.failure);
    } else {
        answer = findAnswer(request);
    }
    if (behaviour.malformed) {
        return std::make_unique<TruncatedMessage>(*answer);
    }
    return answer;
}

void RequestAnswering::send(const KRPMessageRequest& request, const Behaviour& behaviour,
                            std::shared_ptr<const MessageBase> answer) {
    auto sendAll = [this, participant = request.getDestination(), requester = request.getSource(),
                    count = behaviour.answers, answer = std::move(answer)] {
        for (std::uint32_t i = 0; i < count; ++i) {
            bus_.sendTo(participant, requester, answer->clone());
        }
    };
    const Milliseconds delay = latency_ + behaviour.delay;
    if (delay.count() == 0) {
        sendAll();
    } else {
        agenda_.after(delay, std::move(sendAll));
    }
}

}  // namespace desk
