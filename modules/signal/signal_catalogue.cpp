#include "modules/signal/signal_catalogue.h"

#include <algorithm>

#include "base/utf8.h"

SignalInfo* signalInfo = new SignalInfo;

namespace {

/// What a configuration answer says about a signal. Fixed by the protocol: the channel of the local
/// logger is counted from 1, that of another one is shifted by its offset alone. Both wrap at 256.
void takeConfiguration(SignalData& signal, const SignalInfo::signalConfig_t& config) {
    signal.webappName = config.webappName;
    signal.instanceName = config.instanceName;
    signal.unit = config.unit;
    signal.userName = config.userName;
    signal.busId = config.busId;
    signal.valueType = static_cast<signalValue_t>(config.valueType);
    signal.scale = config.scale;
    signal.offset = config.offset;
    signal.valueDescriptionTable = config.valueDescriptionTable;
    const unsigned int shift = config.kslOffset == 0 ? 1U : config.kslOffset;
    signal.channel = static_cast<std::uint8_t>(config.channel + shift);
    signal.kslOffset = config.kslOffset;
    signal.valid = true;
}

}  // namespace

SignalData* SignalInfo::find(const KeyView& key) const {
    const auto entry = index_.find(key);
    return entry == index_.end() ? nullptr : entry->second;
}

SignalData& SignalInfo::findOrInsert(const SignalKey& key) {
    const auto [entry, isNew] = signals_.try_emplace(key);
    if (isNew) {
        index_.emplace(KeyView(entry->first), &entry->second);
    }
    return entry->second;
}

void SignalInfo::clear() {
    invalidated_.clear();
    index_.clear();
    signals_.clear();
}

bool SignalInfo::checkSignal(const SignalKey& key) const {
    const MutexLocker lock(mutex_);
    return find(key) != nullptr;
}

SignalKey SignalInfo::findShown(const SignalKey& key) const {
    const auto isReplaced = [](const std::string& text) {
        return text.find(base::kReplacementCharacter) != std::string::npos;
    };
    if (!isReplaced(key.first) && !isReplaced(key.second)) {
        return key;
    }
    const MutexLocker lock(mutex_);
    if (find(key) != nullptr) {
        return key;
    }
    const auto shown = std::find_if(signals_.begin(), signals_.end(), [&key](const auto& entry) {
        return base::replaceIllFormedUtf8(entry.first.first) == key.first &&
               base::replaceIllFormedUtf8(entry.first.second) == key.second;
    });
    return shown == signals_.end() ? key : shown->first;
}

SignalData SignalInfo::getSignalData(const SignalKey& key) const {
    const MutexLocker lock(mutex_);
    const SignalData* signal = find(key);
    return signal == nullptr ? SignalData() : *signal;
}

void SignalInfo::updateSignalConfiguration(const signalConfig_t& config,
                                           const std::string& source) {
    // One lock from the look-up to the store: a start in between would get lost.
    const MutexLocker lock(mutex_);
    SignalData& signal = findOrInsert(SignalKey(config.webappName, source));
    if (signal.instanceName.empty()) {
        signal = SignalData();
        signal.MAC = source;
        signal.value = "NaN";
    }
    takeConfiguration(signal, config);
}

void SignalInfo::updateSignalValue(const SignalMessage* message, const std::string& source) {
    updateAndUse(*message, source, [](const SignalData&) {});
}

void SignalInfo::storeValue(SignalData& signal, const SignalMessage& message) {
    if (!signal.active || !signal.valid) {
        return;
    }
    signal.instanceName = message.instanceName;
    signal.unit = message.unit;
    signal.value = message.value;
    signal.raw = message.raw;
    signal.phys = message.phys;
    signal.descr = message.descr;
    signal.timestamp = message.timestamp;
}

void SignalInfo::setSignalDataInvalid() {
    const MutexLocker lock(mutex_);
    for (auto& [key, signal] : signals_) {
        signal.valid = false;
    }
}

void SignalInfo::clearSignalData() {
    const MutexLocker lock(mutex_);
    clear();
}

/// Two threads may want to begin one; the loser leaves the winner's cycle alone. The lock is the
/// one that an answer needs, so that no signal that has just been answered is invalidated.
bool SignalInfo::beginCycle(std::uint32_t connection) {
    const MutexLocker lock(mutex_);
    if (configState.isUnderWay(connection)) {
        return false;
    }
    giveUpCycle();
    invalidated_.reserve(signals_.size());
    for (auto& [key, signal] : signals_) {
        if (signal.valid) {
            signal.valid = false;
            invalidated_.push_back(&signal);
        }
    }
    return configState.begin(connection);
}

/// Undoes what the last cycle has done that was never completed; changes nothing after any other.
void SignalInfo::giveUpCycle() {
    for (SignalData* const signal : invalidated_) {
        signal->valid = true;
    }
    invalidated_.clear();
    answered_.clear();
}

bool SignalInfo::addAnswer(const std::string& source) {
    const MutexLocker lock(mutex_);
    if (configState != KSL_MSG_STATE_UPDATE) {
        return false;
    }
    if (answered_.empty()) {
        clear();
    }
    answered_.insert(source);
    return true;
}

void SignalInfo::completeCycle(std::size_t neighbours) {
    const MutexLocker lock(mutex_);
    if (configState == KSL_MSG_STATE_UPDATE && configState.complete(answered_.size(), neighbours)) {
        answered_.clear();
    }
}

void SignalInfo::abandonCycle(std::uint32_t connection) {
    const MutexLocker lock(mutex_);
    if (configState.abandon(connection)) {
        giveUpCycle();
    }
}

std::set<std::string> SignalInfo::getLoggers() const {
    const MutexLocker lock(mutex_);
    std::set<std::string> loggers;
    for (const auto& [key, signal] : signals_) {
        loggers.insert(key.second);
    }
    return loggers;
}
