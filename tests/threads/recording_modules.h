// The modules' handlers as the routing sees them: each keeps what it was given, and claims it when
// it is told to.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "modules/module_table.h"

struct RecordingModules {
    // What the routing is to use.
    static const ModuleTable table;
    // That with two modules more, of which the first has no use for anything.
    static const ModuleTable tableWithFurther;

    // One line per call, in their order: "<handler> <message's class> <mac>".
    std::vector<std::string> calls;
    // The handlers that claim what they are given.
    std::set<std::string> claiming;

    /// Waits until the handlers have been called so often in this process, on whatever thread.
    static bool waitForCalls(std::size_t count);
};

extern RecordingModules recordingModules;
