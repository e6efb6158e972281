#include "desk/dbc/scaling.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace dbc {

namespace {

/// What a 64-bit mantissa can hold.
constexpr int kMostDigits = 18;

bool timesTen(std::int64_t& number, int times) {
    for (int i = 0; i < times; ++i) {
        if (__builtin_mul_overflow(number, std::int64_t{10}, &number)) {
            return false;
        }
    }
    return true;
}

std::string_view withoutPlus(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    return text;
}

double toDouble(std::string_view text, double otherwise) {
    text = withoutPlus(text);
    double number = otherwise;
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stopped == text.data() + text.size() && std::isfinite(number)
               ? number
               : otherwise;
}

/// The digits of a number, without its exponent; false when there is anything else.
bool readMantissa(std::string_view text, Decimal& number) {
    bool behindPoint = false;
    bool any = false;
    for (const char c : text) {
        if (c == '.' && !behindPoint) {
            behindPoint = true;
            continue;
        }
        if (c < '0' || c > '9' || !timesTen(number.mantissa, 1) ||
            __builtin_add_overflow(number.mantissa, std::int64_t{c - '0'}, &number.mantissa)) {
            return false;
        }
        number.digits += behindPoint ? 1 : 0;
        any = true;
    }
    return any;
}

bool applyExponent(std::string_view text, Decimal& number) {
    text = withoutPlus(text);
    int exponent = 0;
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), exponent);
    if (error != std::errc() || stopped != text.data() + text.size() || std::abs(exponent) > 400) {
        return false;
    }
    number.digits -= exponent;
    return true;
}

/// No zeros at the end, and no digits in front of the point that are not in the mantissa.
bool normalise(Decimal& number) {
    if (number.mantissa == 0) {
        number.digits = 0;
        return true;
    }
    while (number.digits > 0 && number.mantissa % 10 == 0) {
        number.mantissa /= 10;
        --number.digits;
    }
    if (number.digits < 0) {
        if (!timesTen(number.mantissa, -number.digits)) {
            return false;
        }
        number.digits = 0;
    }
    return number.digits <= kMostDigits;
}

std::string withPoint(std::uint64_t magnitude, bool isNegative, int digits) {
    std::string text = std::to_string(magnitude);
    const auto places = static_cast<std::size_t>(digits);
    if (places > 0) {
        if (text.size() <= places) {
            text.insert(0, places + 1 - text.size(), '0');
        }
        text.insert(text.size() - places, 1, '.');
    }
    return isNegative ? "-" + text : text;
}

std::uint64_t magnitudeOf(std::int64_t number) {
    return number < 0 ? ~static_cast<std::uint64_t>(number) + 1
                      : static_cast<std::uint64_t>(number);
}

template <class Float>
std::string shortest(Float number) {
    if (std::isnan(number)) {
        return "NaN";
    }
    if (std::isinf(number)) {
        return number < 0 ? "-Inf" : "Inf";
    }
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

}  // namespace

std::optional<Decimal> readDecimal(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    text = isNegative ? text.substr(1) : withoutPlus(text);
    const std::size_t exponentAt = text.find_first_of("eE");
    Decimal number;
    if (!readMantissa(text.substr(0, exponentAt), number) ||
        (exponentAt != std::string_view::npos &&
         !applyExponent(text.substr(exponentAt + 1), number)) ||
        !normalise(number)) {
        return std::nullopt;
    }
    number.mantissa = isNegative ? -number.mantissa : number.mantissa;
    return number;
}

Scaling::Scaling(std::string_view factor, std::string_view offset)
    : factor_(toDouble(factor, 1.0)), offset_(toDouble(offset, 0.0)) {
    const auto exactFactor = readDecimal(factor);
    const auto exactOffset = readDecimal(offset);
    exact_.reset();
    if (exactFactor && exactOffset) {
        const int digits = std::max(exactFactor->digits, exactOffset->digits);
        Exact exact{exactFactor->mantissa, exactOffset->mantissa, digits};
        if (timesTen(exact.factor, digits - exactFactor->digits) &&
            timesTen(exact.offset, digits - exactOffset->digits)) {
            exact_ = exact;
        }
    }
}

std::string Scaling::text(std::int64_t raw) const {
    std::int64_t value = 0;
    if (exact_ && !__builtin_mul_overflow(raw, exact_->factor, &value) &&
        !__builtin_add_overflow(value, exact_->offset, &value)) {
        return withPoint(magnitudeOf(value), value < 0, exact_->digits);
    }
    return roundedText(physical(raw));
}

std::string Scaling::text(std::uint64_t raw) const {
    if (raw <= static_cast<std::uint64_t>(INT64_MAX)) {
        return text(static_cast<std::int64_t>(raw));
    }
    if (exact_ && exact_->factor == 1 && exact_->offset == 0) {
        return withPoint(raw, false, exact_->digits);
    }
    return roundedText(physical(raw));
}

std::string Scaling::roundedText(double physical) const {
    if (!exact_ || std::abs(physical) >= 1e15) {
        return shortestText(physical);
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", exact_->digits, physical);
    return text.data();
}

std::string shortestText(double number) {
    return shortest(number);
}

std::string shortestText(float number) {
    return shortest(number);
}

}  // namespace dbc
