#include "desk/sources/recording_signals.h"

#include <cstdlib>
#include <utility>

#include "krpbus/messages/signal_message.h"

namespace desk {

namespace {

SignalReading readingOf(std::size_t signal, const std::string& value, bool isNumber) {
    if (!isNumber) {
        return textReading(signal, value);
    }
    SignalReading reading = numberReading(signal, std::strtod(value.c_str(), nullptr), 0);
    reading.value = value;
    return reading;
}

}  // namespace

RecordingSignals::RecordingSignals(std::shared_ptr<const Recording> recording)
    : recording_(std::move(recording)) {
    for (const Recording::Signal& signal : recording_->signals) {
        SignalConfig config;
        config.instanceName = "Recording." + signal.name;
        config.webappName = signal.name;
        config.userName = signal.name;
        config.unit = signal.unit;
        config.valueType = signal.isNumber ? SIGNALVALUE_DOUBLE : SIGNALVALUE_STRING;
        config.scale = 1.0;
        configs_.push_back(std::move(config));
    }
}

std::optional<SignalSource::Duration> RecordingSignals::read(Duration,
                                                             std::vector<SignalReading>& readings) {
    const std::size_t row = next_;
    next_ = next_ + 1 == recording_->rows.size() ? 0 : next_ + 1;
    const std::vector<std::string>& values = recording_->rows[row].values;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!values[i].empty()) {
            readings.push_back(readingOf(i, values[i], recording_->signals[i].isNumber));
        }
    }
    return untilRowAfter(*recording_, row);
}

}  // namespace desk
