// Feeds the reader of scenarios with anything.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "desk/scenario/scenario_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        desk::parseScenario({reinterpret_cast<const char*>(data), size});
    } catch (const desk::ScenarioError& error) {
        if (*error.what() == '\0') {
            std::abort();
        }
    }
    return 0;
}
