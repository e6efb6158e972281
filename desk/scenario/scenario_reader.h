// Reading a scenario from its JSON file.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "desk/scenario/scenario.h"

namespace desk {

/// What is wrong with a scenario, and where: "line 3, column 7: ..." or
/// "requests.53.delay: ...".
struct ScenarioError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a scenario from JSON text. Throws ScenarioError for anything that is not understood.
Scenario parseScenario(std::string_view json);

/// Reads the file. Throws ScenarioError, also for a file that cannot be read; the file's name is
/// not part of the text.
Scenario readScenarioFile(const std::string& path);

}  // namespace desk
