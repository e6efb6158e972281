// How the values of options are read, and what is said about wrong ones.
#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "desk/loop/duration.h"

namespace desk {

/// Throws CLI::ValidationError.
[[noreturn]] void reject(const std::string& option, const std::string& why);

/// A time with its unit; rejected when it is none.
Milliseconds readDuration(const std::string& option, const std::string& text);

/// An option whose value `read` takes as text; `kind` is what the help shows for the value.
template <class Read>
CLI::Option* addText(CLI::App& app, const std::string& name, Read read, const std::string& help,
                     const std::string& kind) {
    return app.add_option_function<std::string>(name, std::move(read), help)->type_name(kind);
}

/// A whole number of that type; rejected when it is none.
template <class Number>
Number readNumber(const std::string& option, const std::string& text) {
    Number value = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stopped != end) {
        using Limits = std::numeric_limits<Number>;
        reject(option, "\"" + text + "\" is not a whole number from " +
                           std::to_string(Limits::min()) + " to " + std::to_string(Limits::max()));
    }
    return value;
}

/// An option for a whole number; `target` is a number or an optional one.
template <class Number, class Target>
CLI::Option* addNumber(CLI::App& app, const std::string& name, Target& target,
                       const std::string& help) {
    return addText(
        app, name,
        [name, &target](const std::string& text) { target = readNumber<Number>(name, text); }, help,
        std::is_same_v<Number, std::uint8_t> ? "0..255" : "N");
}

}  // namespace desk
