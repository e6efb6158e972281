// How far the loggers of a network keep out of each other's way.
#pragma once

#include <optional>
#include <string_view>

#include "desk/loop/agenda.h"

namespace desk {

/// Who looks at live data switches it on at all loggers in one breath. Did each begin at once, all
/// would send at the same moments from then on, and what is behind them would have nothing to do in
/// between and too much then. So each begins late, at moments of its own; and what one logger sends
/// as often begins at the same moments, whenever it is switched on, since that wakes whoever
/// receives it once. Values lose nothing by it: they are read when they are sent.
class Stagger {
  public:
    /// The longest that anybody has to wait for the first value of a signal on account of it.
    static constexpr Clock::duration kLongest = std::chrono::milliseconds(125);

    /// Begins at once.
    Stagger() = default;
    /// The moments of a logger with this hardware address, always the same. Those of addresses that
    /// follow each other are spread over the period.
    explicit Stagger(std::string_view mac);

    /// When it begins with what it sends that often and is switched on now. Of a longer period it
    /// does not wait for the whole.
    Clock::time_point begin(Clock::time_point now, Clock::duration period) const;

  private:
    std::optional<double> part_;  // of the period, below 1
};

}  // namespace desk
