// The signals of a vehicle on a test drive.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "desk/sources/drive_model.h"
#include "desk/sources/signal_source.h"

namespace desk {

/// Signals on CAN, FlexRay, LIN and Ethernet buses: numbers, states with texts of their own, and
/// texts.
class DriveSignals : public SignalSource {
  public:
    DriveSignals();

    const std::vector<SignalConfig>& signals() const override { return configs_; }
    void begin() override {}
    std::optional<Duration> read(Duration time, std::vector<SignalReading>& readings) override;
    double usualRate() const override { return 10.0; }

  private:
    using Table = std::map<std::uint64_t, std::string>;
    /// What a signal says about the vehicle's state. It is given its place and its configuration.
    using Reader =
        std::function<SignalReading(const DriveState&, std::size_t, const SignalConfig&)>;
    struct Place {
        const char* segment;  // the bus's name in the instance name
        busid_t bus;
        std::uint8_t channel;
    };
    static const Place kPowertrain, kChassis, kDynamics, kComfort, kInfotainment;

    void addPowertrain();
    void addChassis();
    void addDynamics();
    void addComfort();
    void addInfotainment();

    void number(const Place& place, const char* name, const char* userName, const char* unit,
                int digits, double (*value)(const DriveState&));
    void state(const Place& place, const char* name, const char* userName, Table texts,
               std::uint64_t (*raw)(const DriveState&));
    void text(const Place& place, const char* name, const char* userName,
              std::string (*value)(const DriveState&));
    SignalConfig& add(const Place& place, const char* name, const char* userName, Reader reader);

    std::vector<SignalConfig> configs_;
    std::vector<Reader> readers_;
};

}  // namespace desk
