#include "modules/signal/json_number.h"

#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include "json/document.h"

namespace klv {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The parts of a JSON number, without its sign.
struct NumberParts {
    std::string_view integer;
    std::string_view fraction;
    std::string_view exponent;  // with its sign
};

std::string_view takeDigits(std::string_view& rest) {
    const auto end = std::find_if_not(rest.begin(), rest.end(), isDigit);
    const std::string_view digits(rest.data(), static_cast<std::size_t>(end - rest.begin()));
    rest.remove_prefix(digits.size());
    return digits;
}

/// Takes a JSON number apart; false when the text is anything else.
bool splitNumber(std::string_view text, NumberParts& parts) {
    std::string_view rest = text;
    if (rest.starts_with('-')) {
        rest.remove_prefix(1);
    }
    parts.integer = takeDigits(rest);
    if (parts.integer.empty() || (parts.integer.size() > 1 && parts.integer.front() == '0')) {
        return false;
    }
    if (rest.starts_with('.')) {
        rest.remove_prefix(1);
        parts.fraction = takeDigits(rest);
        if (parts.fraction.empty()) {
            return false;
        }
    }
    if (rest.starts_with('e') || rest.starts_with('E')) {
        const char* start = rest.data() + 1;
        rest.remove_prefix(rest.size() > 1 && (rest[1] == '+' || rest[1] == '-') ? 2 : 1);
        if (takeDigits(rest).empty()) {
            return false;
        }
        parts.exponent = std::string_view(start, static_cast<std::size_t>(rest.data() - start));
    }
    return rest.empty();
}

/// Of a number that no double holds: whether it is too large, and not just too close to zero.
bool isTooLarge(const NumberParts& parts) {
    // Where the first digit that is not 0 stands, counted from the decimal point to the left.
    std::int64_t magnitude = 0;
    if (parts.integer != "0") {
        magnitude = static_cast<std::int64_t>(parts.integer.size());
    } else if (const auto zeros = parts.fraction.find_first_not_of('0');
               zeros != std::string_view::npos) {
        magnitude = -static_cast<std::int64_t>(zeros);
    } else {
        return false;  // zero, however large its exponent is
    }
    std::string_view digits = parts.exponent;
    if (digits.starts_with('+')) {
        digits.remove_prefix(1);
    }
    std::int64_t exponent = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    if (result.ec == std::errc::result_out_of_range) {
        return !digits.starts_with('-');
    }
    return exponent > -magnitude;
}

/// Readers differ about exponents and very long integers: some refuse the whole message over a zero
/// with an exponent above 308. What our own library takes the others take, too.
bool isTakenByLibrary(std::string_view number) {
    const std::string text(number);
    rapidjson::StringStream stream(text.c_str());
    rapidjson::BaseReaderHandler<> anything;
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator> reader;
    return !reader.Parse(stream, anything).IsError();
}

}  // namespace

bool isFiniteJsonNumber(std::string_view text) {
    NumberParts parts;
    if (!splitNumber(text, parts)) {
        return false;
    }
    constexpr std::size_t kAlwaysFinite = 300;  // digits of a number without an exponent
    if (parts.exponent.empty() && parts.integer.size() <= kAlwaysFinite) {
        return true;
    }
    double value = 0.0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return (result.ec == std::errc() || !isTooLarge(parts)) && isTakenByLibrary(text);
}

}  // namespace klv
