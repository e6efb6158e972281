#include "desk/services/event_service.h"

#include <array>
#include <cstdio>

#include "base/clock.h"
#include "base/log.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/krp_get_event_index.h"

namespace desk {

namespace {

constexpr std::uint8_t kTriggers = 3;  // the only kind of events that there are
constexpr unsigned char kPressed = 1;

std::string markerOfTime(std::uint64_t time) {
    std::array<char, 8> microseconds{};
    std::snprintf(microseconds.data(), microseconds.size(), "%03u",
                  static_cast<unsigned int>(time % 1000));
    return "Trigger " + KRSystem::uint64ToUTCTimeString(time, true) + microseconds.data();
}

std::unique_ptr<KRPMessageResponse> answerEvents(const KRPMessageRequest& request,
                                                 const EventStore& store) {
    auto answer = std::make_unique<KRPResponseGetEventList>();
    if (request.payload != std::vector{kTriggers}) {
        answer->setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::InvalidParameter,
                         "there are events of kind 3 only");
        return answer;
    }
    answer->events.assign(store.events().begin(), store.events().end());
    return answer;
}

std::unique_ptr<KRPMessageResponse> answerIndex(const KRPMessageRequest& request,
                                                const EventStore& store) {
    auto answer = std::make_unique<KRPResponseGetEventIndex>(kTriggers, store.lastNumber());
    if (request.payload != std::vector{kTriggers}) {
        answer->setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::InvalidParameter,
                         "there are events of kind 3 only");
    }
    return answer;
}

}  // namespace

void EventRecorder::report(const SystemNgEventMessage& event) {
    if (event.getEventId() == EVENTID_TRIGGER_SET) {
        const std::string& marker = event.getMarkerId();
        addTrigger(event.getEventTime(),
                   event.getTimeZone().empty() ? identity_.timeZone : event.getTimeZone(),
                   marker.empty() ? markerOfTime(event.getEventTime()) : marker);
    } else if (event.getEventId() == EVENTID_TRIGGER_COUNT_RESET) {
        store_.clear();
        tell(EVENTID_TRIGGER_COUNT_RESET, {getTimeOfDay(), identity_.timeZone, 0, ""});
    }
}

/// The key's time is that of the logger that it was pressed on. Another logger's is taken for the
/// network's, from which this logger's clock differs by its offset.
void EventRecorder::press(const KeyboardMessage& key) {
    if (key.keyCode != KeyboardMessage::kTriggerKey || key.pressed != kPressed) {
        return;
    }
    const bool isForwarded = KSLUtil::splitAddress(key.getSource()).has_value();
    const std::uint64_t time =
        isForwarded ? key.time - static_cast<std::uint64_t>(identity_.timeOffset) : key.time;
    if (!store_.hasEventAt(time)) {
        addTrigger(time, identity_.timeZone, markerOfTime(key.time));
    }
}

void EventRecorder::addTrigger(std::uint64_t timestamp, const std::string& timeZone,
                               const std::string& markerId) {
    tell(EVENTID_TRIGGER_SET, store_.add(timestamp, timeZone, markerId));
}

void EventRecorder::tell(eventid_t what, const EventStore::Event& event) {
    LogUtil::log(LogLevel::Info, "tell",
                 what == EVENTID_TRIGGER_SET ? "trigger \"" + event.marker_id + "\""
                                             : std::string("the trigger counter was reset"));
    bus_.sendToBus(std::string(kEventHandler), "Trigger",
                   std::make_unique<SystemNgEventMessage>(
                       getTimeOfDay(), what, event.timestamp, event.time_zone, event.marker_id,
                       static_cast<unsigned short>(event.number), SystemMessage::NOT_AVAILABLE));
}

std::unique_ptr<KRPMessageResponse> EventService::answer(const KRPMessageRequest& request) {
    switch (request.getKrpMsgID()) {
        case KRPResponseGetEventList::kId:
            return answerEvents(request, store_);
        case KRPResponseGetEventIndex::kId:
            return answerIndex(request, store_);
        default:
            return nullptr;
    }
}

bool EventService::takeNotice(const SystemMessage& notice) {
    const auto* const event = dynamic_cast<const SystemNgEventMessage*>(&notice);
    if (event == nullptr) {
        return false;
    }
    recorder_.report(*event);
    return true;
}

std::unique_ptr<KRPMessageResponse> RepeatedEventRequests::answer(
    const KRPMessageRequest& request) {
    return request.getKrpMsgID() == KRPResponseGetEventList::kId ? answerEvents(request, store_)
                                                                 : nullptr;
}

bool KeyService::takeKey(const KeyboardMessage& key) {
    recorder_.press(key);
    return true;
}

}  // namespace desk
