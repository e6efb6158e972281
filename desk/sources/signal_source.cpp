#include "desk/sources/signal_source.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

namespace desk {

SignalReading numberReading(std::size_t signal, double value, int digits) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", digits, value);
    SignalReading reading;
    reading.signal = signal;
    reading.value = text.data();
    reading.phys = value;
    reading.raw = value > 0.0 && value < 1.8e19 ? static_cast<std::uint64_t>(std::round(value)) : 0;
    return reading;
}

SignalReading rawReading(std::size_t signal, std::uint64_t raw, const SignalConfig& config) {
    SignalReading reading;
    reading.signal = signal;
    reading.value = std::to_string(raw);
    reading.raw = raw;
    reading.phys = static_cast<double>(raw) * config.scale + config.offset;
    const auto text = config.valueDescriptionTable.find(raw);
    if (text != config.valueDescriptionTable.end()) {
        reading.descr = text->second;
    }
    return reading;
}

SignalReading textReading(std::size_t signal, std::string text) {
    SignalReading reading;
    reading.signal = signal;
    reading.value = std::move(text);
    return reading;
}

}  // namespace desk
