#include "krpbus/client/live_data_skipping.h"

#include <utility>

#include "krpbus/client/live_data_key.h"

namespace krpbus {

namespace {

/// What a waiting message costs beside its payload, roughly.
constexpr std::size_t kOverhead = 256;
/// Fewer empty places than this are not worth tidying up.
constexpr std::size_t kFewTombstones = 1024;

std::size_t sizeOf(const Received& received) {
    return kOverhead + received.payload.size();
}

std::optional<std::string> keyOf(const Received& received) {
    const char* const reply = natsMsg_GetReply(received.message.get());
    return liveDataKey(reply != nullptr ? reply : "", received.payload);
}

}  // namespace

void LiveDataSkipping::push(Received&& received, std::int64_t now) {
    skipWhenOld(now);
    received.arrived = now;
    const std::size_t size = sizeOf(received);
    queue_.push_back(std::move(received));
    bytes_ += size;
    if (skipping_) {
        rememberNewest(firstPosition_ + queue_.size() - 1);
        if (tombstones_ > kFewTombstones && tombstones_ > queue_.size() / 2) {
            dropTombstones();
        }
    }
}

Received LiveDataSkipping::pop(std::int64_t now) {
    // Also here: values may have stopped coming, and what waits grows old all the same.
    skipWhenOld(now);
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
    }
    if (queue_.empty()) {
        skipping_ = false;
        newest_.clear();
    }
    return received;
}

std::uint64_t LiveDataSkipping::takeSkipped() {
    return skipping_ ? 0 : std::exchange(skipped_, 0);
}

void LiveDataSkipping::clear() {
    queue_.clear();
    firstPosition_ = 0;
    tombstones_ = 0;
    bytes_ = 0;
    newest_.clear();
    skipping_ = false;
    skipped_ = 0;
}

void LiveDataSkipping::skipWhenOld(std::int64_t now) {
    if (!skipping_ && !queue_.empty() && now - queue_.front().arrived >= skipAfter_) {
        startSkipping();
    }
}

void LiveDataSkipping::startSkipping() {
    skipping_ = true;
    for (std::size_t i = 0; i < queue_.size(); ++i) {
        rememberNewest(firstPosition_ + i);
    }
    dropTombstones();
}

/// Enters the message at this position as the newest of its key and removes the one before it.
void LiveDataSkipping::rememberNewest(std::uint64_t position) {
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

void LiveDataSkipping::dropTombstones() {
    std::erase_if(queue_, [](const Received& entry) { return !entry.message; });
    tombstones_ = 0;
    newest_.clear();
    for (std::size_t i = 0; i < queue_.size(); ++i) {
        rememberNewest(firstPosition_ + i);
    }
}

}  // namespace krpbus
