// This machine's figures as signals.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "desk/loop/agenda.h"
#include "desk/sources/host_figures.h"
#include "desk/sources/signal_source.h"
#include "krpbus/messages/signal_message.h"

namespace desk {

/// Processor load (all together and each processor), memory, load averages, processes, time since
/// the start, temperatures where there are sensors, and the throughput of each network interface.
/// Loads and throughputs are means since the reading before.
class HostSignals : public SignalSource {
  public:
    /// `root` is the folder below which proc/ and sys/ are.
    explicit HostSignals(std::filesystem::path root = "/");

    const std::vector<SignalConfig>& signals() const override { return configs_; }
    void begin() override;
    std::optional<Duration> read(Duration time, std::vector<SignalReading>& readings) override;
    double usualRate() const override { return 2.0; }

  private:
    /// Means over less time would be too coarse: the kernel counts in hundredths of a second.
    static constexpr std::chrono::milliseconds kShortestMean{100};

    void add(const std::string& name, const std::string& unit, signalValue_t type,
             busid_t bus = BUSID_UNKNOWN, std::uint8_t channel = 0);
    void updateMeans();

    const std::filesystem::path root_;
    const std::vector<HostSensor> sensors_;
    const std::vector<std::string> interfaces_;
    std::vector<SignalConfig> configs_;
    HostFigures last_;
    Clock::time_point lastRead_;
    std::vector<double> loads_;   // percent, one for each of last_.processors
    std::vector<double> speeds_;  // kB/s, received and sent, for each interface
};

}  // namespace desk
