#include "tests/kit/slept_time.h"

#include <chrono>
#include <thread>

#include "base/microsleep.h"

namespace {

thread_local std::uint64_t slept = 0;

}  // namespace

/// Takes the place of the library's.
void microsleep(std::uint32_t microseconds, bool) {
    slept += microseconds;
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

SleptTime::SleptTime() : before_(slept) {}

std::uint64_t SleptTime::microseconds() const {
    return slept - before_;
}
