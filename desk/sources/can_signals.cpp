#include "desk/sources/can_signals.h"

#include <algorithm>

namespace desk {

namespace {

using Duration = SignalSource::Duration;
using namespace std::chrono_literals;

constexpr double kMostAtOnce = CanSignals::kMostPerSecond / 10;

Duration intervalOf(double rate) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(1.0 / rate));
}

}  // namespace

CanSignals::CanSignals(std::shared_ptr<CanFeed> feed, double rate)
    : feed_(std::move(feed)),
      interval_(intervalOf(rate)),
      repeat_(std::max<Duration>(interval_, 1s)),
      tick_(std::clamp<Duration>(interval_ / 5, 1ms, 20ms)) {}

void CanSignals::begin() {
    feed_->start();
    sent_.clear();
    latest_ = Duration(0);
    allowance_ = kMostAtOnce;
}

bool CanSignals::isDue(const CanValues::State& state, const Sent& sent, Duration now) const {
    if (state.frames == sent.frames) {
        return false;
    }
    if (sent.time == Duration::min()) {
        return true;
    }
    return now - sent.time >= (state.changes != sent.changes ? interval_ : repeat_);
}

std::optional<Duration> CanSignals::read(Duration time, std::vector<SignalReading>& readings) {
    feed_->poll();
    const std::size_t count = feed_->values().signals().size();
    if (sent_.size() < count) {
        // What came before anybody listened is old: only frames from now on bring values.
        for (std::size_t i = sent_.size(); i < count; ++i) {
            const CanValues::State& state = feed_->values().state(i);
            sent_.push_back({state.frames, state.changes, Duration::min()});
        }
    }
    const double passed = std::chrono::duration<double>(time - latest_).count();
    latest_ = time;
    allowance_ = std::min(allowance_ + passed * kMostPerSecond, kMostAtOnce);
    for (std::size_t looked = 0; looked < count && allowance_ >= 1.0; ++looked) {
        const std::size_t signal = next_ < count ? next_ : 0;
        next_ = signal + 1;
        const CanValues::State& state = feed_->values().state(signal);
        if (isDue(state, sent_[signal], time)) {
            sent_[signal] = {state.frames, state.changes, time};
            readings.push_back(feed_->values().reading(signal));
            allowance_ -= 1.0;
        }
    }
    return tick_;
}

}  // namespace desk
