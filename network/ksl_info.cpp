#include "network/ksl_info.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/message_ids.h"

KslInfo* kslInfo = new KslInfo;

std::list<std::string> KslInfo::getNeighbours() const {
    const MutexLocker lock(mutex_);
    return neighbours_;
}

void KslInfo::setNeighbours(std::list<std::string> neighbours) {
    const MutexLocker lock(mutex_);
    networkInUse = !neighbours.empty();
    standsAlone = neighbours.empty();
    neighbours_ = std::move(neighbours);
}

KslInfo::StatusMap KslInfo::getStatusMap() const {
    const MutexLocker lock(mutex_);
    return status_;
}

KslInfo::TimeOffsetMap KslInfo::getKslTimeOffsetMap() const {
    const MutexLocker lock(mutex_);
    return timeOffsets_;
}

bool KslInfo::getConfigMap(ConfigMap& out) const {
    const MutexLocker lock(mutex_);
    out = configs_;
    return !out.empty();
}

std::int64_t KslInfo::getKslTimeOffset(const std::string& mac) const {
    const MutexLocker lock(mutex_);
    const auto found = timeOffsets_.find(mac);
    return found != timeOffsets_.end() ? found->second : 0;
}

bool KslInfo::getLoggerName(const std::string& mac, std::string& name) const {
    {
        const MutexLocker lock(mutex_);
        const auto found = loggerNames_.find(mac);
        if (found != loggerNames_.end()) {
            name = found->second;
            return true;
        }
    }
    LogUtil::log(LogLevel::Debug, "getLoggerName", "no logger name");
    return false;
}

void KslInfo::resetStatusMap() {
    const MutexLocker lock(mutex_);
    status_.clear();
}

void KslInfo::resetConfigMap() {
    const MutexLocker lock(mutex_);
    configs_.clear();
    configState = KSL_MSG_STATE_UPDATE;
    timeZoneState = KSL_MSG_STATE_UPDATE;
    deviceComponentsState = KSL_MSG_STATE_UPDATE;
}

void KslInfo::resetKslTimeOffsetMap() {
    const MutexLocker lock(mutex_);
    timeOffsets_.clear();
}

void KslInfo::addStateMessage(
    const Simple1MessageResponse<KRP_GET_LOGGER_STATUS, unsigned char>* response,
    const std::string& mac) {
    const MutexLocker lock(mutex_);
    status_[mac] = std::to_string(response->value);
}

void KslInfo::addKslTimeOffsetMessage(
    const Simple1MessageResponse<KRP_GET_KSL_TIME_OFFSET, long long>* response,
    const std::string& mac) {
    const MutexLocker lock(mutex_);
    timeOffsets_[mac] = response->value;
}

void KslInfo::addConfigMessage(const String2MessageResponse<KRP_GET_LOGGER_CONFIG>* response,
                               const std::string& mac) {
    const MutexLocker lock(mutex_);
    logger_info_t& info = configs_[mac];
    info.hasConfig = true;
    info.configName = response->first;
    loggerNames_[mac] = response->second;
}

void KslInfo::addTimeZoneMessage(const StringMessageResponse<KRP_GET_TIME_ZONE, 1>* response,
                                 const std::string& mac) {
    const MutexLocker lock(mutex_);
    logger_info_t& info = configs_[mac];
    info.hasTimeZone = true;
    info.timeZone = response->getText();
}

void KslInfo::addDevCompMessage(const KRPResponseGetDeviceComponents* response,
                                const std::string& mac) {
    const MutexLocker lock(mutex_);
    logger_info_t& info = configs_[mac];
    info.hasDeviceComponents = true;
    info.deviceClass = response->deviceClass;
    info.subType = response->subType;
    info.softwareVersion = response->softwareVersion;
}

bool KslInfo::completeStatus() {
    const MutexLocker lock(mutex_);
    return completeWith(statusState, status_.size());
}

bool KslInfo::completeTimeOffset() {
    const MutexLocker lock(mutex_);
    return completeWith(timeOffsetState, timeOffsets_.size());
}

bool KslInfo::completeConfig() {
    const MutexLocker lock(mutex_);
    return completeWith(configState, countConfigs(&logger_info_t::hasConfig));
}

bool KslInfo::completeTimeZone() {
    const MutexLocker lock(mutex_);
    return completeWith(timeZoneState, countConfigs(&logger_info_t::hasTimeZone));
}

bool KslInfo::completeDeviceComponents() {
    const MutexLocker lock(mutex_);
    return completeWith(deviceComponentsState, countConfigs(&logger_info_t::hasDeviceComponents));
}

bool KslInfo::loggerInfoComplete() const {
    return configState == KSL_MSG_STATE_COMPLETE && timeZoneState == KSL_MSG_STATE_COMPLETE &&
           deviceComponentsState == KSL_MSG_STATE_COMPLETE;
}

bool KslInfo::beginNeighbours(std::uint32_t connection) {
    const MutexLocker lock(mutex_);
    return neighboursState.begin(connection);
}

void KslInfo::busReconnected(std::uint32_t connection) {
    const MutexLocker lock(mutex_);
    neighboursState.abandon(connection);
}

/// Counted and set under one lock, so that a reset in between cannot leave an empty map complete.
bool KslInfo::completeWith(State& state, std::size_t answers) {
    return state.complete(answers, neighbours_.size());
}

std::size_t KslInfo::countConfigs(bool logger_info_t::*answered) const {
    return static_cast<std::size_t>(
        std::count_if(configs_.begin(), configs_.end(),
                      [answered](const auto& entry) { return entry.second.*answered; }));
}

std::size_t countNeighbours() {
    return kslInfo != nullptr ? kslInfo->getNeighbours().size() : 0;
}
