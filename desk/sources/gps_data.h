// A GPS receiver beside whatever a logger stands for.
#pragma once

#include <memory>
#include <vector>

#include "desk/gps/gpsd_client.h"
#include "desk/sources/bus_source.h"
#include "desk/sources/signal_source.h"

namespace desk {

/// The signals of another source, and behind them position, speed and course of a receiver. They
/// come with each report that has a fix, at the other source's pace.
class SignalsWithGps : public SignalSource {
  public:
    SignalsWithGps(std::unique_ptr<SignalSource> source, std::shared_ptr<GpsdClient> gps);

    const std::vector<SignalConfig>& signals() const override { return configs_; }
    void list() override;
    void begin() override { source_->begin(); }
    std::optional<Duration> read(Duration time, std::vector<SignalReading>& readings) override;
    double usualRate() const override { return source_->usualRate(); }

  private:
    const std::unique_ptr<SignalSource> source_;
    const std::shared_ptr<GpsdClient> gps_;
    std::vector<SignalConfig> configs_;
    std::vector<std::size_t> places_;  // of the other source's signals in configs_
    std::uint64_t latest_ = 0;         // number of the last report
};

/// The buses of another source, and the receiver among them once gpsd has been there.
class BusesWithGps : public BusSource {
  public:
    BusesWithGps(std::unique_ptr<BusSource> source, std::shared_ptr<GpsdClient> gps);

    const std::vector<Bus>& buses() const override { return buses_; }
    void list() override;
    void begin() override { source_->begin(); }
    void read(Duration time, std::vector<BusReading>& readings) override;
    std::optional<GpsReading> readGps(Duration time) override;

  private:
    const std::unique_ptr<BusSource> source_;
    const std::shared_ptr<GpsdClient> gps_;
    std::vector<Bus> buses_;
    std::vector<std::size_t> places_;  // of the other source's buses in buses_
    bool hasReceiver_ = false;
};

}  // namespace desk
