#include "desk/services/signal_playback.h"

#include <utility>

#include "base/clock.h"

namespace desk {

namespace {

/// A logger that has fallen behind by more than this leaves values out.
constexpr std::chrono::seconds kMostBehind{1};

Clock::duration period(double rate) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / rate));
}

/// A moment that has been, in microseconds since 1970 UTC.
std::uint64_t timeOfDayAt(Clock::time_point moment) {
    const auto passed =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - moment);
    return getTimeOfDay() - static_cast<std::uint64_t>(passed.count());
}

}  // namespace

SignalPlayback::SignalPlayback(Agenda& agenda, std::unique_ptr<SignalSource> source,
                               std::optional<double> rate, const Stagger& stagger,
                               IsWanted isWanted, Take take)
    : agenda_(agenda),
      source_(std::move(source)),
      rate_(rate),
      stagger_(stagger),
      isWanted_(std::move(isWanted)),
      take_(std::move(take)) {}

void SignalPlayback::start() {
    if (runs_) {
        return;
    }
    runs_ = true;
    source_->begin();
    begin_ = stagger_.begin(Clock::now(), usualPeriod());
    due_ = begin_;
    agenda_.at(due_, [this] { playDue(); });
}

/// Where the source itself does not say when its next values are due.
Clock::duration SignalPlayback::usualPeriod() const {
    return period(rate_.value_or(source_->usualRate()));
}

void SignalPlayback::playDue() {
    const auto now = Clock::now();
    if (now - due_ > kMostBehind) {
        begin_ += now - due_;
        due_ = now;
    }
    while (due_ <= now && isWanted_()) {
        readings_.clear();
        const auto untilNext = source_->read(
            std::chrono::duration_cast<SignalSource::Duration>(due_ - begin_), readings_);
        take_(readings_, timeOfDayAt(due_));
        due_ += rate_ || !untilNext ? usualPeriod() : *untilNext;
    }
    runs_ = isWanted_();
    if (runs_) {
        agenda_.at(due_, [this] { playDue(); });
    }
}

}  // namespace desk
