// The options that say who a logger is and what it stands for.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "desk/sources/logger_identity.h"
#include "desk/sources/source.h"

namespace desk {

/// What was given for the logger's description; its source fills in the rest.
struct GivenIdentity {
    std::optional<std::string> name, configName, timeZone, softwareVersion, componentName, type;
    std::optional<std::uint8_t> deviceClass, subType;
};

/// Options whose value is complete in itself write it to `identity` and `source`, the others to
/// `given`.
void addIdentityOptions(CLI::App& app, LoggerIdentity& identity, Source& source,
                        GivenIdentity& given);

/// Describes the logger: as it was given, else as its source says. Throws CLI::ValidationError that
/// says what is wrong.
void applyIdentity(const GivenIdentity& given, const Source& source, LoggerIdentity& identity);

}  // namespace desk
