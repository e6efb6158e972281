#include "bench/value_route.h"

#include <charconv>
#include <string_view>

#include "modules/signal/signal_value_text.h"

std::string routeSignal(std::uint64_t number) {
    return "Powertrain.Signal_" + std::to_string(number % kRouteSignals);
}

std::string routeText(std::uint64_t number, const std::string& mac) {
    SignalData signal;
    signal.webappName = routeSignal(number);
    signal.MAC = mac;
    signal.timestamp = 1700000000000000U + number;
    signal.value = std::to_string(number);
    signal.valueType = SIGNALVALUE_DOUBLE;
    return std::string(klv::SignalValueText().write(signal));
}

std::uint64_t numberIn(std::string_view text) {
    static constexpr std::string_view kMember = "\"value\": ";
    const std::size_t at = text.rfind(kMember);
    std::uint64_t number = 0;
    if (at != std::string_view::npos) {
        std::from_chars(text.data() + at + kMember.size(), text.data() + text.size(), number);
    }
    return number;
}
