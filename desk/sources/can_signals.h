// The signals on the buses of a vehicle.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "desk/sources/can_feed.h"
#include "desk/sources/signal_source.h"

namespace desk {

/// Gives a value that has changed at most once an interval, one that has not once a second while
/// its frames come, and none when they have stopped. Where more are due than a client is to get,
/// those that have waited longest come first, each with its newest value.
class CanSignals : public SignalSource {
  public:
    /// What one client gets of one logger in a second.
    static constexpr double kMostPerSecond = 5000.0;

    /// `rate`: values per second of a signal that changes.
    CanSignals(std::shared_ptr<CanFeed> feed, double rate);

    const std::vector<SignalConfig>& signals() const override { return feed_->values().signals(); }
    void list() override { feed_->list(); }
    void begin() override;
    std::optional<Duration> read(Duration time, std::vector<SignalReading>& readings) override;
    double usualRate() const override { return 10.0; }

  private:
    struct Sent {
        std::uint32_t frames = 0;
        std::uint32_t changes = 0;
        Duration time = Duration::min();  // long ago
    };
    bool isDue(const CanValues::State& state, const Sent& sent, Duration now) const;

    const std::shared_ptr<CanFeed> feed_;
    const Duration interval_;  // between values of a signal that changes
    const Duration repeat_;    // between values of one that does not
    const Duration tick_;      // between readings
    std::vector<Sent> sent_;   // by signal
    std::size_t next_ = 0;     // where the look for values goes on
    double allowance_ = 0.0;   // values that may be given now
    Duration latest_{0};       // the last reading
};

}  // namespace desk
