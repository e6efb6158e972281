// The clock that everything stamps its data with.
#pragma once

#include <cstdint>
#include <string>

struct KRSystem {
    /// The current time: microseconds since 1970-01-01 00:00:00 UTC. Any thread.
    static std::uint64_t getTimeOfDay();

    /// A time (microseconds since 1970 UTC) as "YYYY-MM-DD hh:mm:ss", with ".mmm" behind it when
    /// milliseconds are wanted. A time past what the calendar functions know gives its decimal
    /// number. Any thread.
    static std::string uint64ToUTCTimeString(std::uint64_t time, bool withMilliseconds);
};

/// KRSystem::getTimeOfDay() under the name that callers use free.
std::uint64_t getTimeOfDay();
