// How long commands wait for what the loggers answer, and how: in steps, since the states that they
// wait for are words that the bus thread sets.
#pragma once

#include <cstdint>

#include "base/microsleep.h"

namespace klv {

/// One step, in microseconds.
inline constexpr std::uint32_t kWaitStepMicroseconds = 100000;

/// What a command of the browser waits at most: two seconds, in steps.
inline constexpr int kCommandWaitSteps = 20;

/// Sleeps step by step until the condition holds or the steps are used up. Returns how many are
/// left; 0 does not tell whether the condition holds. Without steps it returns at once.
template <class Condition>
int waitInSteps(int steps, Condition&& condition,
                std::uint32_t stepMicroseconds = kWaitStepMicroseconds) {
    while (steps > 0 && !condition()) {
        microsleep(stepMicroseconds, false);
        --steps;
    }
    return steps;
}

/// What passes before a logger that was busy is asked again.
inline void waitBeforeAskingAgain() {
    microsleep(kWaitStepMicroseconds, false);
}

}  // namespace klv
