#include "modules/busload/busload_catalogue.h"

BusInfo* busInfo = new BusInfo;

constinit std::atomic<unsigned char> busnamesActiveOnly{1};

int BusInfo::getBusnamesMapSize() const {
    const MutexLocker lock(mutex_);
    return static_cast<int>(busNames_.size());
}

void BusInfo::resetBusNamesMap() {
    const MutexLocker lock(mutex_);
    busNames_.clear();
    state = KSL_MSG_STATE_EMPTY;
}

BusInfo::BusnamesMap BusInfo::getBusnamesMap() const {
    const MutexLocker lock(mutex_);
    return busNames_;
}

void BusInfo::addBusnamesMessage(const KRPResponseGetBusNames* answer, const std::string& source) {
    auto copy = std::make_shared<const KRPResponseGetBusNames>(*answer);
    const MutexLocker lock(mutex_);
    busNames_[source].swap(copy);
}

bool BusInfo::beginCollection(std::uint32_t connection) {
    const MutexLocker lock(mutex_);
    if (state == KSL_MSG_STATE_COMPLETE || !state.begin(connection)) {
        return false;
    }
    busNames_.clear();
    return true;
}

/// Counted and set under one lock, so that a collection that begins in between cannot be complete
/// without an answer.
bool BusInfo::completeCollection(std::size_t neighbours) {
    const MutexLocker lock(mutex_);
    return state.complete(busNames_.size(), neighbours);
}

void BusInfo::abandonCollection(std::uint32_t connection) {
    const MutexLocker lock(mutex_);
    state.abandon(connection);
}
