// Signals that come from a recording.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "desk/sources/recording.h"
#include "desk/sources/signal_source.h"

namespace desk {

/// Plays a recording at the speed of its times, in a loop, value for value as they stand in the
/// file. Every begin() starts at the first row.
class RecordingSignals : public SignalSource {
  public:
    explicit RecordingSignals(std::shared_ptr<const Recording> recording);

    const std::vector<SignalConfig>& signals() const override { return configs_; }
    void begin() override { next_ = 0; }
    /// The next row, whatever the time is, and how long after it the one behind it comes.
    std::optional<Duration> read(Duration time, std::vector<SignalReading>& readings) override;
    double usualRate() const override { return 1.0; }

  private:
    std::shared_ptr<const Recording> recording_;
    std::vector<SignalConfig> configs_;
    std::size_t next_ = 0;
};

}  // namespace desk
