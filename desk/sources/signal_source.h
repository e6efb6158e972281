// Where a desk logger's signals and their values come from.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "krpbus/messages/krp_get_lv_signal_config.h"

namespace desk {

using SignalConfig = KRPResponseGetLVSignalConfig::signalConfig_t;

/// One value of a signal.
struct SignalReading {
    std::size_t signal = 0;  // its place among the source's signals
    std::string value;
    std::uint64_t raw = 0;
    double phys = 0.0;
    std::string descr;                    // the text of the value; empty when it has none
    /// Microseconds since 1970 UTC; nothing: the time at which values were asked for.
    std::optional<std::uint64_t> time{};
};

/// Signals and their values. One thread.
class SignalSource {
  public:
    using Duration = std::chrono::microseconds;

    SignalSource() = default;
    virtual ~SignalSource() = default;
    SignalSource(const SignalSource&) = delete;
    SignalSource& operator=(const SignalSource&) = delete;

    /// The signals that have been listed. Their channels are this logger's own.
    virtual const std::vector<SignalConfig>& signals() const = 0;

    /// The signals are about to be named to somebody: new ones may be added behind those there are.
    virtual void list() {}

    /// Values are wanted from now on: time begins anew.
    virtual void begin() = 0;

    /// Appends the values at this time since begin(). Gives the time until the next ones, or
    /// nothing when the source has values at any time.
    virtual std::optional<Duration> read(Duration time, std::vector<SignalReading>& readings) = 0;

    /// Values per second where nobody asks for a certain number.
    virtual double usualRate() const = 0;
};

/// A reading of a number, written with that many digits behind the point. The raw value is the
/// number itself, rounded, or 0 when it is negative.
SignalReading numberReading(std::size_t signal, double value, int digits);
/// A reading of a raw value, which the signal's table may have a text for.
SignalReading rawReading(std::size_t signal, std::uint64_t raw, const SignalConfig& config);
/// A reading that is a text.
SignalReading textReading(std::size_t signal, std::string text);

}  // namespace desk
