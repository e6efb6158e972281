// A sleep that is not cut short.
#pragma once

#include <cstdint>

/// Sleeps for the given number of microseconds; 0 returns at once. A signal that arrives meanwhile
/// does not shorten the sleep, unless `interruptible` is set. Any thread.
void microsleep(std::uint32_t microseconds, bool interruptible);
