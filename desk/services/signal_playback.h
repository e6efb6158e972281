// The values of a signal source at their pace.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "desk/loop/agenda.h"
#include "desk/services/stagger.h"
#include "desk/sources/signal_source.h"

namespace desk {

/// Reads a source's values when they are due and hands them on, for as long as somebody wants them.
class SignalPlayback {
  public:
    using IsWanted = std::function<bool()>;
    /// Takes the values that were due together, and when that was, in microseconds since 1970 UTC:
    /// the time of those that have none of their own, however late they are. Curves would bend
    /// wherever the machine had other things to do.
    using Take = std::function<void(const std::vector<SignalReading>&, std::uint64_t timestamp)>;

    /// `rate` is in values per second and signal, of a recording in rows per second; without it
    /// values come as the source has them. The agenda must outlive this object, and must not run
    /// afterwards.
    SignalPlayback(Agenda& agenda, std::unique_ptr<SignalSource> source, std::optional<double> rate,
                   const Stagger& stagger, IsWanted isWanted, Take take);

    const std::vector<SignalConfig>& signals() const { return source_->signals(); }
    /// The signals, for somebody to whom they are named now.
    const std::vector<SignalConfig>& list() {
        source_->list();
        return source_->signals();
    }
    /// Begins with the first values, as soon as the stagger allows; changes nothing while it runs.
    /// It ends when a value is due that nobody wants.
    void start();

  private:
    void playDue();
    Clock::duration usualPeriod() const;

    Agenda& agenda_;
    const std::unique_ptr<SignalSource> source_;
    const std::optional<double> rate_;
    const Stagger stagger_;
    const IsWanted isWanted_;
    const Take take_;
    Clock::time_point begin_;  // when values began to be wanted
    Clock::time_point due_;    // when the next ones are due
    bool runs_ = false;        // playDue() is on the agenda
    std::vector<SignalReading> readings_;
};

}  // namespace desk
