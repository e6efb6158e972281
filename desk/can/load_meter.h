// How busy a bus is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "desk/can/frame.h"

namespace desk::can {

/// Bits per second of a bus.
struct BitRate {
    double nominal = 500'000;
    double data = 2'000'000;  ///< of the fast part of FD frames
    bool isDataGiven = false;
};

/// Adds up how long the bus was taken in the last second, by the times of its frames. One thread.
class LoadMeter {
  public:
    /// `speed`: how many seconds of the bus pass in one.
    explicit LoadMeter(const BitRate& rate, double speed = 1.0) : rate_(rate), speed_(speed) {}

    void add(const Frame& frame);
    /// The share of the second before `now` (microseconds, the frames' clock), from 0 to 100.
    double percent(std::uint64_t now);

  private:
    static constexpr std::uint64_t kSlot = 10'000;  // microseconds
    static constexpr std::size_t kSlots = 100;      // a second
    /// Where a slot stands in `taken_`, whose places are used in turn.
    static std::size_t place(std::uint64_t slot) {
        return static_cast<std::size_t>(slot % (kSlots + 1));
    }
    void advance(std::uint64_t slot);

    const BitRate rate_;
    const double speed_;
    /// Seconds of the bus in each slot: those of the second, and the one that goes on.
    std::array<double, kSlots + 1> taken_{};
    std::uint64_t newest_ = 0;  // the newest slot there is a place for
};

}  // namespace desk::can
