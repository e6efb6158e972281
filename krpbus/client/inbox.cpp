#include "krpbus/client/inbox.h"

#include <ctime>
#include <span>
#include <string_view>

#include "krpbus/client/live_data_key.h"

namespace {

// What a waiting message costs beside its payload, roughly.
constexpr std::size_t kOverhead = 256;
// Fewer empty places than this are not worth tidying up.
constexpr std::size_t kFewTombstones = 1024;

std::size_t sizeOf(const Received& received) {
    return kOverhead + static_cast<std::size_t>(natsMsg_GetDataLength(received.message.get()));
}

std::optional<std::string> keyOf(const Received& received) {
    const natsMsg* const message = received.message.get();
    const char* const reply = natsMsg_GetReply(message);
    const auto* const data = reinterpret_cast<const std::uint8_t*>(natsMsg_GetData(message));
    return liveDataKey(reply != nullptr ? reply : "",
                       {data, static_cast<std::size_t>(natsMsg_GetDataLength(message))});
}

// Milliseconds of the cheap clock: it is read for every message.
std::int64_t coarseNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace

Inbox::Inbox(std::size_t limit, std::chrono::milliseconds skipAfter)
    : limit_(limit), skipAfter_(skipAfter), event_(makeEventFd()) {
    updateSignal();
}

bool Inbox::push(Received&& received) {
    const std::size_t size = sizeOf(received);
    const std::lock_guard lock(mutex_);
    if (overrun_) {
        return false;
    }
    const std::int64_t now = coarseNow();
    if (waiting() == 0) {
        standingSince_ = now;
    } else if (!skipping_ && now - standingSince_ >= skipAfter_.count()) {
        startSkipping();
    }
    bytes_ += size;
    if (skipping_) {
        pushSkipping(std::move(received));
    } else {
        queue_.push_back(std::move(received));
    }
    // A single message may be larger than the limit: there is no smaller way to have it.
    if (bytes_ > limit_ && waiting() > 1) {
        clearMessages();
        overrun_ = true;
    }
    updateSignal();
    return overrun_;
}

void Inbox::pushSkipping(Received&& received) {
    queue_.push_back(std::move(received));
    rememberNewest(firstPosition_ + queue_.size() - 1);
    if (tombstones_ > kFewTombstones && tombstones_ > queue_.size() / 2) {
        dropTombstones();
    }
}

// Enters the message at this position as the newest of its key and removes the one before it.
void Inbox::rememberNewest(std::uint64_t position) {
    auto key = keyOf(queue_[static_cast<std::size_t>(position - firstPosition_)]);
    if (!key) {
        return;
    }
    const auto [known, isNew] = newest_.try_emplace(std::move(*key), position);
    if (isNew) {
        return;
    }
    if (known->second >= firstPosition_) {
        Received& older = queue_[static_cast<std::size_t>(known->second - firstPosition_)];
        if (older.message) {
            bytes_ -= sizeOf(older);
            older.message.reset();
            ++tombstones_;
            ++skipped_;
        }
    }
    known->second = position;
}

void Inbox::startSkipping() {
    skipping_ = true;
    for (std::size_t i = 0; i < queue_.size(); ++i) {
        rememberNewest(firstPosition_ + i);
    }
    dropTombstones();
}

void Inbox::dropTombstones() {
    std::erase_if(queue_, [](const Received& entry) { return !entry.message; });
    tombstones_ = 0;
    newest_.clear();
    for (std::size_t i = 0; i < queue_.size(); ++i) {
        rememberNewest(firstPosition_ + i);
    }
}

Received Inbox::pop(std::uint64_t& skipped) {
    const std::lock_guard lock(mutex_);
    Received received;
    while (!queue_.empty() && !received.message) {
        received = std::move(queue_.front());
        queue_.pop_front();
        ++firstPosition_;
        if (!received.message) {
            --tombstones_;
        }
    }
    if (received.message) {
        bytes_ -= sizeOf(received);
        standingSince_ = coarseNow();
    }
    if (queue_.empty()) {
        if (skipping_) {
            skipping_ = false;
            newest_.clear();
            skipped = std::exchange(skipped_, 0);
        }
        if (!received.message) {
            updateSignal();
        }
    }
    return received;
}

bool Inbox::look() {
    const std::lock_guard lock(mutex_);
    if (overrun_) {
        overrun_ = false;
        ++connections_;
        updateSignal();
        return false;
    }
    return connected_ || waiting() > 0;
}

void Inbox::connected() {
    const std::lock_guard lock(mutex_);
    connected_ = true;
    ++connections_;
    updateSignal();
}

void Inbox::disconnected() {
    const std::lock_guard lock(mutex_);
    connected_ = false;
    updateSignal();
}

bool Inbox::isConnected() const {
    const std::lock_guard lock(mutex_);
    return connected_ && !overrun_;
}

void Inbox::addVanished(std::string address) {
    const std::lock_guard lock(mutex_);
    vanished_.push_back(std::move(address));
    updateSignal();
}

std::vector<std::string> Inbox::takeVanished() {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> taken = std::exchange(vanished_, {});
    updateSignal();
    return taken;
}

void Inbox::clearMessages() {
    queue_.clear();
    firstPosition_ = 0;
    tombstones_ = 0;
    bytes_ = 0;
    newest_.clear();
    skipping_ = false;
    skipped_ = 0;
}

void Inbox::updateSignal() {
    const bool wanted = waiting() > 0 || !connected_ || overrun_ || !vanished_.empty();
    if (wanted == signalled_) {
        return;
    }
    signalled_ = wanted;
    if (wanted) {
        raiseEvent(event_.get());
    } else {
        clearEvent(event_.get());
    }
}
