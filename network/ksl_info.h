// What the loggers of the network have answered, by logger.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "base/mutex.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"
#include "network/collection_state.h"

class KRPResponseGetDeviceComponents;

/// The record of the logger network. The bus thread adds answers, the connection thread resets and
/// reads; the maps and lists are guarded by a mutex that no caller sees, and are handed out as
/// copies. The states and flags are polled without it. Nothing is sent and nothing waits in here.
class KslInfo {
  public:
    using State = CollectionState;

    /// What one logger has answered to the three requests behind "get_logger_info". A logger has an
    /// entry from its first answer on; each flag tells whether that answer has come.
    struct logger_info_t {
        bool hasConfig = false;
        std::string configName;
        bool hasTimeZone = false;
        std::string timeZone;
        bool hasDeviceComponents = false;
        unsigned int deviceClass = 0;
        unsigned int subType = 0;
        std::string softwareVersion;
    };
    using ConfigMap = std::map<std::string, logger_info_t>;
    using StatusMap = std::map<std::string, std::string>;
    using TimeOffsetMap = std::map<std::string, std::int64_t>;

    State neighboursState;
    std::atomic<bool> networkInUse{false};  // there are other loggers on the network
    std::atomic<bool> standsAlone{false};   // the neighbour list has arrived, and is empty
    State configState;
    State timeZoneState;
    State deviceComponentsState;
    State statusState;
    State timeOffsetState;

    /// The MAC addresses of the other loggers. Replacing the list sets the two flags.
    std::list<std::string> getNeighbours() const;
    void setNeighbours(std::list<std::string> neighbours);

    /// The loggers' status, as decimal text, and the offsets of their clocks against the network's.
    StatusMap getStatusMap() const;
    TimeOffsetMap getKslTimeOffsetMap() const;
    /// Copies what the loggers have answered about themselves; false when there is nothing.
    bool getConfigMap(ConfigMap& out) const;

    /// The offset of one logger's clock; 0 for a logger that has given none.
    std::int64_t getKslTimeOffset(const std::string& mac) const;
    /// The name that a logger has given itself; it may be empty. False when the logger is not
    /// known: that is logged, and `name` stays as it is.
    bool getLoggerName(const std::string& mac, std::string& name) const;

    /// Empty one map before its requests are sent anew. The configuration map's three collections
    /// wait from then on; names stay, since live data goes on being shown under them.
    void resetStatusMap();
    void resetConfigMap();
    void resetKslTimeOffsetMap();

    /// Store one logger's answer in the place of an earlier one. The caller has looked at the
    /// answer's status.
    void addStateMessage(
        const Simple1MessageResponse<KRP_GET_LOGGER_STATUS, unsigned char>* response,
        const std::string& mac);
    void addKslTimeOffsetMessage(
        const Simple1MessageResponse<KRP_GET_KSL_TIME_OFFSET, long long>* response,
        const std::string& mac);
    void addConfigMessage(const String2MessageResponse<KRP_GET_LOGGER_CONFIG>* response,
                          const std::string& mac);
    void addTimeZoneMessage(const StringMessageResponse<KRP_GET_TIME_ZONE, 1>* response,
                            const std::string& mac);
    void addDevCompMessage(const KRPResponseGetDeviceComponents* response, const std::string& mac);

    /// Each moves its collection to "complete" when more loggers have answered it than there are
    /// neighbours, which do not include this logger; true when that is so.
    bool completeStatus();
    bool completeTimeOffset();
    bool completeConfig();
    bool completeTimeZone();
    bool completeDeviceComponents();

    /// True when configurations, time zones and device components of every logger have arrived.
    bool loggerInfoComplete() const;

    /// Begins to wait for the neighbour list on this connection to the bus. False, with nothing
    /// changed, when that is under way: of two threads that try at once one is to send the request.
    bool beginNeighbours(std::uint32_t connection);
    /// The bus connection was lost and is back, as this one: a neighbour list that was asked for on
    /// an earlier one will not come.
    void busReconnected(std::uint32_t connection);

  private:
    bool completeWith(State& state, std::size_t answers) REQUIRES(mutex_);
    std::size_t countConfigs(bool logger_info_t::*answered) const REQUIRES(mutex_);

    mutable Mutex mutex_;
    std::list<std::string> neighbours_ GUARDED_BY(mutex_);
    StatusMap status_ GUARDED_BY(mutex_);
    TimeOffsetMap timeOffsets_ GUARDED_BY(mutex_);
    ConfigMap configs_ GUARDED_BY(mutex_);
    std::map<std::string, std::string> loggerNames_ GUARDED_BY(mutex_);
};

/// The one record, created when the plug-in is loaded. The first session of a process takes it away
/// at its end and nothing makes another one: every user tests it for null.
extern KslInfo* kslInfo;

/// The number of other loggers on the network; 0 without a record. Any thread.
std::size_t countNeighbours();
