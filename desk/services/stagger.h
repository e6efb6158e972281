// How far the loggers of a network keep out of each other's way.
#pragma once

#include <string_view>

#include "desk/loop/agenda.h"

namespace desk {

/// Who looks at live data switches it on at all loggers in one breath. Did each begin at once, all
/// would send at the same moments from then on, and what is behind them would have nothing to do in
/// between and too much then. So each begins late by a part of its period that is its own. Values
/// lose nothing by it: they are read when they are sent.
class Stagger {
  public:
    /// The longest that anybody has to wait for the first value of a signal on account of it.
    static constexpr Clock::duration kLongest = std::chrono::milliseconds(100);

    /// Begins at once.
    Stagger() = default;
    /// The part of a logger with this hardware address, always the same. The parts of addresses
    /// that follow each other are spread over the period.
    explicit Stagger(std::string_view mac);

    /// By so much it begins late with what it sends that often.
    Clock::duration of(Clock::duration period) const;

  private:
    double part_ = 0;  // below 1
};

}  // namespace desk
