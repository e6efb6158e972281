// The merge of events step by step: what the catalogue's fast merge must come to.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "krpbus/messages/krp_get_event_list.h"

// One list, every event looked up and inserted by itself, with nothing but loops.
class PlainMerge {
  public:
    using event_t = KRPResponseGetEventList::event_t;
    using EventList = std::vector<event_t>;

    struct Answer {
        EventList events;
        std::int64_t offset = 0;
    };

    // Merges the answers into the list in the order of the loggers' names.
    const EventList& merge(const std::map<std::string, Answer>& answers) {
        for (const auto& [logger, answer] : answers) {
            merge(answer);
        }
        return events_;
    }

    void merge(const Answer& answer) {
        for (event_t event : answer.events) {
            if (!find(event.marker_id)) {
                event.timestamp += static_cast<std::uint64_t>(answer.offset);
                insert(event);
            }
        }
    }

    const EventList& events() const { return events_; }

  private:
    bool find(const std::string& markerId) const {
        for (const event_t& event : events_) {
            if (event.marker_id == markerId) {
                return true;
            }
        }
        return false;
    }

    void insert(const event_t& event) {
        if (events_.empty()) {
            events_.push_back(event);
            return;
        }
        if (event.timestamp <= events_.front().timestamp) {
            events_.insert(events_.begin(), event);
            return;
        }
        for (auto place = events_.begin() + 1; place != events_.end(); ++place) {
            if (place->timestamp >= event.timestamp) {
                events_.insert(place, event);
                return;
            }
        }
        events_.push_back(event);
    }

    EventList events_;
};
