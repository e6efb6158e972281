#include "base/microsleep.h"

#include <cerrno>
#include <ctime>

void microsleep(std::uint32_t microseconds, bool interruptible) {
    timespec left{};
    left.tv_sec = static_cast<std::time_t>(microseconds / 1'000'000);
    left.tv_nsec = static_cast<long>(microseconds % 1'000'000) * 1'000;
    while (nanosleep(&left, &left) != 0 && errno == EINTR && !interruptible) {
    }
}
