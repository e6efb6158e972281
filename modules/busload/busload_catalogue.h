// The catalogue of the buses that the loggers record.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "base/mutex.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "network/collection_state.h"

/// The latest bus names of every logger. The bus thread adds answers, the connection thread asks
/// for them. Each operation holds the one mutex for its whole run; none logs, sends or waits
/// meanwhile. The two words that threads poll are atomic.
class BusInfo {
  public:
    /// The answers by logger (MAC). An answer is never changed once it is in here: copies of the
    /// map share it, and it goes with the last of them when a newer answer has taken its place.
    using BusnamesMap = std::map<std::string, std::shared_ptr<const KRPResponseGetBusNames>>;

    CollectionState state;
    std::atomic<bool> running{false};  // the browser has started bus load

    /// The number of loggers that have answered.
    int getBusnamesMapSize() const;
    /// Forgets all answers; nothing counts as requested any more.
    void resetBusNamesMap();
    BusnamesMap getBusnamesMap() const;
    /// Stores a copy of a logger's answer in the place of an earlier one.
    void addBusnamesMessage(const KRPResponseGetBusNames* answer, const std::string& source);

    /// Begins the one collection there is, of answers to this connection to the bus: forgets all
    /// answers and counts as requested. False, with nothing changed, when there has been a request
    /// already whose answers have come or may still come.
    bool beginCollection(std::uint32_t connection);
    /// Whether more loggers than `neighbours` have answered, which do not include this logger; the
    /// catalogue is complete then.
    bool completeCollection(std::size_t neighbours);
    /// The bus connection was lost and is back, as this one: after a request on an earlier one that
    /// not every logger had answered, nothing counts as requested any more.
    void abandonCollection(std::uint32_t connection);

  private:
    mutable Mutex mutex_;
    BusnamesMap busNames_ GUARDED_BY(mutex_);
};

/// The one catalogue, created when the plug-in is loaded and never destroyed: the bus thread may
/// still use it while the process ends.
extern BusInfo* busInfo;

/// The "active" of the last "get_bus_names", as a byte: not 0 when only the buses in use are
/// wanted, 1 when the member was missing or no number. A busy logger is asked again with it.
/// Written by the connection thread, read by the bus thread.
extern std::atomic<unsigned char> busnamesActiveOnly;
