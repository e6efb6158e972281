#include "base/clock.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <limits>

std::uint64_t KRSystem::getTimeOfDay() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

std::string KRSystem::uint64ToUTCTimeString(std::uint64_t time, bool withMilliseconds) {
    const std::uint64_t seconds = time / 1'000'000;
    const auto milliseconds = static_cast<unsigned int>(time / 1'000 % 1'000);
    std::tm parts{};
    std::array<char, 40> text{};
    if (seconds > static_cast<std::uint64_t>(std::numeric_limits<std::time_t>::max())) {
        return std::to_string(time);
    }
    const auto whole = static_cast<std::time_t>(seconds);
    if (gmtime_r(&whole, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts) == 0) {
        return std::to_string(time);
    }
    std::string result = text.data();
    if (withMilliseconds) {
        std::snprintf(text.data(), text.size(), ".%03u", milliseconds);
        result += text.data();
    }
    return result;
}

std::uint64_t getTimeOfDay() {
    return KRSystem::getTimeOfDay();
}
