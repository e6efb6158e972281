#include "modules/trigger/trigger_commands.h"

#include <cstdint>
#include <memory>
#include <utility>

#include "base/clock.h"
#include "base/log.h"
#include "json/request_parsers.h"
#include "json/simple_response.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/keyboard_message.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "modules/trigger/trigger_catalogue.h"
#include "network/bus_requests.h"
#include "network/common_commands.h"
#include "network/waiting.h"
#include "setup/lv_setup.h"

namespace {

constexpr unsigned char kSelector = 3;  // events of triggers

using EventListRequest = Simple1MessageRequest<KRP_GET_EVENT_LIST, unsigned char>;
using EventIndexRequest = Simple1MessageRequest<KRP_GET_EVENT_INDEX, unsigned char>;

std::string busName() {
    return stp != nullptr ? stp->krpbus_name : std::string();
}

void broadcastKey(std::uint64_t eventTime, unsigned char pressed) {
    sendKslBroadcast(KeyboardMessage(KeyboardMessage::kTriggerKey, pressed, eventTime),
                     kOnlineProcessor);
}

}  // namespace

void setTrigger(const Document& doc) {
    std::string markerId;
    // Whatever the result: a trigger must not be lost over its marker.
    parseString("marker_id", markerId, &doc, true);
    const std::uint64_t eventTime = getTimeOfDay();
    const std::uint64_t time = getTimeOfDay();
    const SystemNgEventMessage event(time, EVENTID_TRIGGER_SET, eventTime, "", markerId, 0,
                                     SystemMessage::NOT_AVAILABLE);
    sendToOwnLogger(event, kEventHandler);
    // The other loggers learn of it as of a press of the trigger key, at the event's own time.
    broadcastKey(event.getEventTime(), 1);
    broadcastKey(event.getEventTime(), 0);
}

void getTriggerCount() {
    LogUtil::log(LogLevel::Debug, "getTriggerCount", "stp->krpbus_name=" + busName());
    sendToOwnLogger(EventIndexRequest(kSelector), kEventHandler);
}

/// Fixed by the protocol: a collection that one logger never completes stays under way, and later
/// calls only wait for it. A complaint follows the last wait even when the collection became
/// complete in it.
void getTrigger(int waitCount) {
    getKslTimeOffset(waitCount);
    if (triggerInfo->beginCollection(busConnection())) {
        sendKslBroadcast(EventListRequest(kSelector), kEventHandler);
    }
    const int stepsLeft =
        klv::waitInSteps(waitCount, [] { return triggerInfo->state == KSL_MSG_STATE_COMPLETE; });
    if (waitCount >= 1 && stepsLeft == 0) {
        createAndSendJSON_simple("get_trigger", KR_STATE_ERROR, KR_ERROR_CANNOT_START,
                                 "not all triggers received");
    }
}

/// Addressed to the logger's general service, unlike the request to all: that service is there also
/// while the one for events is busy.
void getTrigger(const std::string& sourceMac) {
    LogUtil::log(LogLevel::Debug, "getTrigger",
                 "stp->krpbus_name" + busName() + " sourceMac=" + sourceMac);
    sendMessage(EventListRequest(kSelector), kHandheldServer, sourceMac);
}
