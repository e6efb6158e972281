#include "modules/trigger/trigger_responses.h"

#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/log.h"
#include "krpbus/messages/krp_get_event_index.h"
#include "krpbus/messages/krp_get_event_list.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "modules/trigger/trigger_catalogue.h"
#include "modules/trigger/trigger_commands.h"
#include "network/ksl_info.h"
#include "network/waiting.h"

namespace {

constexpr unsigned char kSelector = 3;  // events of triggers

/// How many loggers there are beside this one; nothing as long as that is not known.
std::optional<std::size_t> knownNeighbours() {
    if (kslInfo == nullptr || kslInfo->neighboursState != KSL_MSG_STATE_COMPLETE) {
        return std::nullopt;
    }
    return countNeighbours();
}

/// A text that outlives the document.
Value textReference(const std::string& text) {
    return Value(rapidjson::StringRef(text.data(), text.size()));
}

/// Lists of a hundred thousand events are usual. An object that grows member by member takes the
/// room of sixteen, a copied one the room of those it has: so each entry is a copy of the first.
/// The library's own copying works on memory that does not throw when there is none, hence the
/// document.
Value markerEntries(const TriggerInfo::EventList& events, Document::AllocatorType& allocator) {
    Value pattern(rapidjson::kObjectType);
    pattern.AddMember("number", 0, allocator);
    pattern.AddMember("timestamp", 0, allocator);
    pattern.AddMember("time_zone", "", allocator);
    pattern.AddMember("marker_id", "", allocator);

    Document copy(&allocator);
    Value entries(rapidjson::kArrayType);
    entries.Reserve(static_cast<rapidjson::SizeType>(events.size()), allocator);
    for (const TriggerInfo::event_t& event : events) {
        const auto writePattern = [&pattern](Document& document) {
            return pattern.Accept(document);
        };
        Value entry;
        entry.Swap(copy.Populate(writePattern));
        auto member = entry.MemberBegin();
        (member++)->value.SetInt(event.number);
        (member++)->value.SetInt64(static_cast<std::int64_t>(event.timestamp));
        (member++)->value = textReference(event.time_zone);
        (member++)->value = textReference(event.marker_id);
        entries.PushBack(entry, allocator);
    }
    return entries;
}

}  // namespace

WaResponseSetTrigger::WaResponseSetTrigger(const SystemNgEventMessage* event) {
    auto& allocator = document.GetAllocator();
    document.AddMember("response", "set_trigger", allocator);
    document.AddMember("number", static_cast<int>(event->getNumber()), allocator);
    document.AddMember("timestamp", static_cast<std::int64_t>(event->getEventTime()), allocator);
    addText("time_zone", event->getTimeZone());
    addText("marker_id", event->getMarkerId());
    addStatus(KR_STATE_OK, KR_ERROR_UNSPECIFIED, "");
    sendMessage();
    getTrigger(0);
}

void sendSetTrigger(const SystemNgEventMessage* event) {
    sendResponse<WaResponseSetTrigger>(event);
}

WaResponseGetTriggerCount::WaResponseGetTriggerCount(const KRPResponseGetEventIndex* answer) {
    document.AddMember("response", "get_trigger_count", document.GetAllocator());
    if (answer->getStatus() == KRPMessageResponse::KRPSTATUS_OK && answer->selector == kSelector) {
        document.AddMember("index", answer->index, document.GetAllocator());
    }
    addKrpStatus(answer);
    sendMessage();
}

WaResponseGetEventList::WaResponseGetEventList(const KRPResponseGetEventList* answer,
                                               const std::string& logger) {
    if (answer->getStatus() == KRPMessageResponse::KRPSTATUS_OK) {
        triggerInfo->addTriggerMessage(answer, logger);
        sendResponse<WaResponseGetEventList>();
    } else if (answer->isBusy()) {
        // Again without a limit: a logger that starts up is busy for as long as that takes.
        klv::waitBeforeAskingAgain();
        getTrigger(logger);
    } else {
        LogUtil::log(LogLevel::Error, "WaResponseGetEventList", answer->toString());
        document.AddMember("response", "get_trigger", document.GetAllocator());
        addText("source", logger);
        addKrpStatus(answer);
        sendMessage();
    }
}

WaResponseGetEventList::WaResponseGetEventList() {
    const auto [events, complete] = triggerInfo->mergeAndComplete(knownNeighbours());
    auto& allocator = document.GetAllocator();
    document.AddMember("response", "get_trigger", allocator);
    document.AddMember("markers", markerEntries(events, allocator), allocator);
    addStatus(complete ? KR_STATE_OK : KR_STATE_PROGRESS, KR_ERROR_UNSPECIFIED, "");
    sendMessage();
}
