// The options that say who a logger is and what it stands for.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "desk/options.h"

namespace desk {

/// What was given for the logger's description; its source fills in the rest.
struct GivenIdentity {
    std::optional<std::string> name, configName, timeZone, softwareVersion, componentName, type;
    std::optional<std::uint8_t> deviceClass, subType;
};

/// Options that read their value at once write it to `options`, the others to `given`.
void addIdentityOptions(CLI::App& app, Options& options, GivenIdentity& given);

/// Describes the logger: as it was given, else as its source says. Throws CLI::ValidationError that
/// says what is wrong.
void applyIdentity(const GivenIdentity& given, Options& options);

}  // namespace desk
