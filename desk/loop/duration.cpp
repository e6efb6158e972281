#include "desk/loop/duration.h"

#include <cstddef>

namespace desk {

namespace {

constexpr double kDayInMilliseconds = 24.0 * 60.0 * 60.0 * 1000.0;

std::optional<double> unitInMilliseconds(std::string_view unit) {
    if (unit == "ms") {
        return 1.0;
    }
    if (unit == "s") {
        return 1000.0;
    }
    if (unit == "min") {
        return 60.0 * 1000.0;
    }
    return std::nullopt;
}

/// Digits, at most one point between them, nothing else: no sign, no exponent, no blank.
std::optional<double> plainNumber(std::string_view text) {
    double value = 0.0;
    double place = 0.0;  // of the next decimal; 0 before the point
    bool digitsOnBothSides = false;
    for (const char c : text) {
        if (c == '.' && place == 0.0 && digitsOnBothSides) {
            place = 0.1;
            digitsOnBothSides = false;
        } else if (c >= '0' && c <= '9') {
            const double digit = c - '0';
            value = place == 0.0 ? value * 10.0 + digit : value + digit * place;
            place *= 0.1;
            digitsOnBothSides = true;
        } else {
            return std::nullopt;
        }
    }
    return digitsOnBothSides ? std::optional(value) : std::nullopt;
}

}  // namespace

std::optional<Milliseconds> parseDuration(std::string_view text) {
    const std::size_t unitAt = text.find_first_not_of("0123456789.");
    if (unitAt == std::string_view::npos) {
        return std::nullopt;
    }
    const auto number = plainNumber(text.substr(0, unitAt));
    const auto unit = unitInMilliseconds(text.substr(unitAt));
    if (!number || !unit || *number * *unit > kDayInMilliseconds) {
        return std::nullopt;
    }
    // A thousandth of a millisecond makes up for decimals that a double cannot hold.
    return Milliseconds(static_cast<Milliseconds::rep>(*number * *unit + 0.001));
}

std::string durationHelp(std::string_view text) {
    return "\"" + std::string(text) +
           "\" is not a length of time; write it like 500ms, 2s or 1min, up to a day";
}

}  // namespace desk
