// How long the product has slept, whatever time has passed meanwhile on a busy machine.
#pragma once

#include <cstdint>

/// What the calling thread is made to sleep by microsleep() during this object's life, in
/// microseconds. One at a time in a thread.
class SleptTime {
  public:
    SleptTime();

    std::uint64_t microseconds() const;

  private:
    const std::uint64_t before_;
};
