// The events of all loggers, merged into one list on the time base of the local logger.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "krpbus/messages/krp_get_event_list.h"
#include "modules/trigger/marker_set.h"
#include "network/collection_state.h"

/// The bus thread adds answers and merges, both threads begin collections. Each operation holds the
/// one mutex for its whole run; none logs, sends or waits meanwhile. A merge takes the network
/// record's mutex inside: this mutex first, then that one. The state is polled without it.
class TriggerInfo {
    mutable Mutex mutex_;

  public:
    using event_t = KRPResponseGetEventList::event_t;
    using EventList = std::vector<event_t>;

    CollectionState state;

    /// The number of loggers that have answered since the last reset.
    int getTriggerMapSize() const;
    /// The merged list, ordered by time.
    EventList getTriggerList() const;
    /// Forgets all answers and the merged list; nothing counts as under way.
    void resetTriggerMap();
    /// Stores a copy of a logger's answer in the place of an earlier one.
    void addTriggerMessage(const KRPResponseGetEventList* answer, const std::string& logger);
    /// Merges one answer into the list without storing it.
    void mergeTriggerMessage(const KRPResponseGetEventList* answer, const std::string& logger);
    /// Merges all stored answers into the list and returns it.
    ///
    /// Of events with the same marker, whatever their loggers and times, the first one counts: what
    /// the list has already, then by logger name, then by the logger's own order. Each event gets
    /// its logger's time offset added, modulo 2^64. Of events with the same time the one merged
    /// last stands first.
    EventList mergeTrigger();

    /// What mergeTrigger() returns, and whether it holds the answers of all loggers.
    struct Merged {
        EventList events;
        bool complete;
    };
    /// Merges, and completes the collection when more loggers than `neighbours` have answered,
    /// which do not include this logger. Without a number, since the network is not known, it
    /// completes nothing. All of it is one step: a collection that begins meanwhile, and forgets
    /// the answers, comes before it or after it, so that no empty list is ever taken for a complete
    /// one.
    Merged mergeAndComplete(std::optional<std::size_t> neighbours);

    /// The two steps of a merge for a single event; the caller lets no other thread in meanwhile.
    /// Whether the list has an event with the same marker:
    bool findComment(const event_t& event) const REQUIRES(mutex_);
    /// Puts an event into its place, before those of the same time:
    void insertEvent(event_t event) REQUIRES(mutex_);

    /// Begins a collection of answers to this connection to the bus: resets, and moves the state to
    /// "update". False, with nothing changed, when one is under way; of two threads that try at
    /// once one begins.
    bool beginCollection(std::uint32_t connection);
    /// The bus connection was lost and is back, as this one: a collection begun on an earlier one
    /// is no longer under way.
    void abandonCollection(std::uint32_t connection);

  private:
    using Message = std::unique_ptr<const KRPResponseGetEventList>;

    struct Answer {
        Message message;
        bool merged = false;  // its markers are all in the list, merging it again changes nothing
        bool listed = false;  // the list refers to its events
    };
    /// An event of the list: its time there, and the event as it came.
    struct Listed {
        std::uint64_t timestamp;
        const event_t* event;
    };

    /// Merges all stored answers into the list.
    void mergeAll() REQUIRES(mutex_);
    /// Merges the events of one answer; whether any of them came into the list.
    bool merge(const EventList& events, const std::string& logger) REQUIRES(mutex_);
    void place(std::vector<Listed>& additions, std::vector<Listed>& room) REQUIRES(mutex_);
    EventList copyOfList() const REQUIRES(mutex_);
    void forget() REQUIRES(mutex_);

    std::vector<Listed> events_ GUARDED_BY(mutex_);  // ascending by time, unsigned
    klv::MarkerSet markers_ GUARDED_BY(mutex_);      // of the list
    std::map<std::string, Answer> triggerMap_ GUARDED_BY(mutex_);
    /// What the list refers to beside the stored answers.
    std::vector<Message> replaced_ GUARDED_BY(mutex_);
    std::deque<event_t> inserted_ GUARDED_BY(mutex_);
};

/// The one catalogue, created when the plug-in is loaded and never destroyed: the bus thread may
/// still use it while the process ends.
extern TriggerInfo* triggerInfo;
