#include "krpbus/client/inbox.h"

#include <ctime>
#include <utility>

namespace krpbus {

namespace {

/// Milliseconds of the cheap clock: it is read for every message.
std::int64_t coarseNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

/// More at once would be more that can no longer be skipped.
constexpr std::size_t kAtOnce = 64;

}  // namespace

Inbox::Inbox(std::size_t limit, std::chrono::milliseconds skipAfter)
    : limit_(limit), waiting_(skipAfter) {
    taken_.reserve(kAtOnce);
    updateSignal();
}

bool Inbox::beginWait() {
    const MutexLocker lock(mutex_);
    updateSignal();
    return !signalled_;
}

bool Inbox::push(Received&& received) {
    const MutexLocker lock(mutex_);
    const bool overran = append(std::move(received));
    updateSignal();
    return overran;
}

bool Inbox::push(std::vector<Received>& received) {
    const MutexLocker lock(mutex_);
    const bool overran = appendAll(received);
    updateSignal();
    return overran;
}

/// To raise the event and lower it again would be two system calls of the nine or so that a pass
/// takes.
bool Inbox::pushOwn(std::vector<Received>& received) {
    const MutexLocker lock(mutex_);
    return appendAll(received);
}

/// Whether they made the inbox overrun.
bool Inbox::appendAll(std::vector<Received>& received) {
    bool overran = false;
    for (Received& one : received) {
        overran = append(std::move(one)) || overran;
    }
    return overran;
}

/// Whether this one made the inbox overrun.
bool Inbox::append(Received&& received) {
    if (overrun_) {
        return false;
    }
    waiting_.push(std::move(received), coarseNow());
    // A single message may be larger than the limit: there is no smaller way to have it.
    if (waiting_.bytes() > limit_ && waiting_.count() > 1) {
        waiting_.clear();
        passLeft_ = 0;
        overrun_ = true;
    }
    return overrun_;
}

bool Inbox::look() {
    const MutexLocker lock(mutex_);
    if (overrun_) {
        overrun_ = false;
        taken_.clear();
        handedOn_ = 0;
        ++connections_;
        updateSignal();
        return false;
    }
    passLeft_ = waiting_.count();
    return connected_ || passLeft_ > 0 || handedOn_ < taken_.size();
}

Received Inbox::pop(std::uint64_t& skipped) {
    if (handedOn_ == taken_.size()) {
        takeSome();
        if (taken_.empty()) {
            return {};
        }
    }
    Received received = std::move(taken_[handedOn_++]);
    if (handedOn_ == taken_.size()) {
        skipped = std::exchange(skipped_, 0);
    }
    return received;
}

void Inbox::takeSome() {
    taken_.clear();
    handedOn_ = 0;
    const MutexLocker lock(mutex_);
    const std::int64_t now = coarseNow();
    while (passLeft_ > 0 && taken_.size() < kAtOnce) {
        --passLeft_;
        Received received = waiting_.pop(now);
        if (!received.message) {
            break;
        }
        taken_.push_back(std::move(received));
    }
    skipped_ += waiting_.takeSkipped();
    consuming_ = !taken_.empty();
    if (!consuming_) {
        updateSignal();
    }
}

void Inbox::connected() {
    const MutexLocker lock(mutex_);
    connected_ = true;
    ++connections_;
    updateSignal();
}

void Inbox::disconnected() {
    const MutexLocker lock(mutex_);
    connected_ = false;
    updateSignal();
}

bool Inbox::isConnected() const {
    const MutexLocker lock(mutex_);
    return connected_ && !overrun_;
}

void Inbox::addVanished(std::string address) {
    const MutexLocker lock(mutex_);
    vanished_.push_back(std::move(address));
    updateSignal();
}

std::vector<std::string> Inbox::takeVanished() {
    const MutexLocker lock(mutex_);
    std::vector<std::string> taken = std::exchange(vanished_, {});
    updateSignal();
    return taken;
}

void Inbox::updateSignal() {
    const bool wanted =
        waiting_.count() > 0 || consuming_ || !connected_ || overrun_ || !vanished_.empty();
    if (wanted == signalled_) {
        return;
    }
    signalled_ = wanted;
    if (wanted) {
        event_.raise();
    } else {
        event_.lower();
    }
}

}  // namespace krpbus
