#include "desk/can/frame_clock.h"

#include <algorithm>

namespace desk::can {

namespace {

constexpr std::uint64_t kBetweenUnstamped = 1000;  // of a file
/// So many frames in a row behind the highest stamp are no disorder but stamps that mean nothing.
constexpr unsigned int kMostOutOfOrder = 64;

std::uint64_t distance(std::uint64_t left, std::uint64_t right) {
    return left < right ? right - left : left - right;
}

}  // namespace

FrameClock::Moment FrameClock::next(std::optional<std::uint64_t> stamp, std::uint64_t now) {
    if (!stamp) {
        if (input_ == Input::Live) {
            return {now, false};
        }
        unstamped_ = std::max(unstamped_ + kBetweenUnstamped, now);
        return {unstamped_, true};
    }
    if (!anchor_ || !continues(*stamp, now)) {
        setAnchor(*stamp, now);
    }
    latest_ = std::max(latest_, *stamp);
    return {timeOf(latest_), !anchor_->isOwnTime};
}

std::uint64_t FrameClock::timeOf(std::uint64_t stamp) const {
    if (anchor_->isOwnTime) {
        return stamp;
    }
    const auto passed = static_cast<double>(stamp - anchor_->stamp) / speed_;
    return anchor_->time + static_cast<std::uint64_t>(passed);
}

/// Whether the stamp goes on from the one before.
bool FrameClock::continues(std::uint64_t stamp, std::uint64_t now) {
    if (stamp < latest_) {
        ++outOfOrder_;
        if (latest_ - stamp > kDisorder || outOfOrder_ > kMostOutOfOrder) {
            hasStepped_ = true;
            return false;
        }
        return true;
    }
    outOfOrder_ = 0;
    // A file may have gaps of any length; what comes live comes when it is.
    return input_ == Input::File || distance(timeOf(stamp), now) <= kMostMicrosecondsOff;
}

void FrameClock::setAnchor(std::uint64_t stamp, std::uint64_t now) {
    const bool isOwnTime =
        input_ == Input::Live && !hasStepped_ && distance(stamp, now) <= kMostMicrosecondsOff;
    anchor_ = Anchor{stamp, now, isOwnTime};
    latest_ = stamp;
    outOfOrder_ = 0;
}

}  // namespace desk::can
