#include "modules/trigger/trigger_catalogue.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "network/ksl_info.h"

TriggerInfo* triggerInfo = new TriggerInfo;

namespace {

/// What to add to the logger's clock to come to the local logger's.
std::uint64_t timeOffset(const std::string& logger) {
    return kslInfo != nullptr ? static_cast<std::uint64_t>(kslInfo->getKslTimeOffset(logger)) : 0;
}

}  // namespace

int TriggerInfo::getTriggerMapSize() const {
    const MutexLocker lock(mutex_);
    return static_cast<int>(triggerMap_.size());
}

TriggerInfo::EventList TriggerInfo::getTriggerList() const {
    const MutexLocker lock(mutex_);
    return copyOfList();
}

void TriggerInfo::resetTriggerMap() {
    const MutexLocker lock(mutex_);
    forget();
    state = KSL_MSG_STATE_EMPTY;
}

void TriggerInfo::addTriggerMessage(const KRPResponseGetEventList* answer,
                                    const std::string& logger) {
    const MutexLocker lock(mutex_);
    Answer stored{std::make_unique<const KRPResponseGetEventList>(*answer)};
    Answer& place = triggerMap_[logger];
    if (place.listed) {
        replaced_.push_back(std::move(place.message));
    }
    place = std::move(stored);
}

void TriggerInfo::mergeTriggerMessage(const KRPResponseGetEventList* answer,
                                      const std::string& logger) {
    const MutexLocker lock(mutex_);
    replaced_.push_back(std::make_unique<const KRPResponseGetEventList>(*answer));
    if (!merge(replaced_.back()->events, logger)) {
        replaced_.pop_back();
    }
}

TriggerInfo::EventList TriggerInfo::mergeTrigger() {
    const MutexLocker lock(mutex_);
    mergeAll();
    return copyOfList();
}

TriggerInfo::Merged TriggerInfo::mergeAndComplete(std::optional<std::size_t> neighbours) {
    const MutexLocker lock(mutex_);
    mergeAll();
    EventList events = copyOfList();
    return {std::move(events), neighbours && state.complete(triggerMap_.size(), *neighbours)};
}

void TriggerInfo::mergeAll() {
    for (auto& [logger, answer] : triggerMap_) {
        if (!answer.merged) {
            answer.listed = merge(answer.message->events, logger);
            answer.merged = true;
        }
    }
}

bool TriggerInfo::findComment(const event_t& event) const {
    return markers_.contains(event.marker_id);
}

void TriggerInfo::insertEvent(event_t event) {
    markers_.reserve(1);
    events_.reserve(events_.size() + 1);
    inserted_.push_back(std::move(event));
    const event_t& kept = inserted_.back();
    markers_.insert(kept.marker_id);
    events_.insert(std::lower_bound(events_.begin(), events_.end(), kept.timestamp,
                                    [](const Listed& listed, std::uint64_t timestamp) {
                                        return listed.timestamp < timestamp;
                                    }),
                   {kept.timestamp, &kept});
}

bool TriggerInfo::beginCollection(std::uint32_t connection) {
    const MutexLocker lock(mutex_);
    if (!state.begin(connection)) {
        return false;
    }
    forget();
    return true;
}

void TriggerInfo::abandonCollection(std::uint32_t connection) {
    const MutexLocker lock(mutex_);
    state.abandon(connection);
}

/// Whatever can fail is done before the list is touched.
bool TriggerInfo::merge(const EventList& events, const std::string& logger) {
    std::vector<Listed> additions;
    std::vector<Listed> room;
    additions.reserve(events.size());
    room.reserve(events_.size() + events.size());
    markers_.reserve(events.size());
    const std::uint64_t offset = timeOffset(logger);
    for (const event_t& event : events) {
        if (markers_.insert(event.marker_id)) {
            additions.push_back({event.timestamp + offset, &event});
        }
    }
    place(additions, room);
    return !additions.empty();
}

/// Gives the list that inserting the additions one by one, each before the first event that is not
/// earlier, would give: among equal times the last addition stands first, and all additions before
/// what was there.
void TriggerInfo::place(std::vector<Listed>& additions, std::vector<Listed>& room) {
    const auto isEarlier = [](const Listed& a, const Listed& b) {
        return a.timestamp < b.timestamp;
    };
    std::stable_sort(additions.begin(), additions.end(), isEarlier);
    for (auto begin = additions.begin(); begin != additions.end();) {
        const auto end = std::find_if(begin + 1, additions.end(), [begin](const Listed& listed) {
            return listed.timestamp != begin->timestamp;
        });
        std::reverse(begin, end);
        begin = end;
    }
    std::merge(additions.begin(), additions.end(), events_.begin(), events_.end(),
               std::back_inserter(room), isEarlier);
    events_.swap(room);
}

TriggerInfo::EventList TriggerInfo::copyOfList() const {
    EventList copy;
    copy.reserve(events_.size());
    for (const Listed& listed : events_) {
        copy.push_back(*listed.event);
        copy.back().timestamp = listed.timestamp;
    }
    return copy;
}

void TriggerInfo::forget() {
    events_.clear();
    markers_.clear();
    triggerMap_.clear();
    replaced_.clear();
    inserted_.clear();
}
