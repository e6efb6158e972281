// What a logger has to do later, and when.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace desk {

using Clock = std::chrono::steady_clock;

/// Actions in the order of their times, those of one time in the order in which they were added.
/// One thread; actions may add further ones.
class Agenda {
  public:
    using Action = std::function<void()>;

    void at(Clock::time_point time, Action action) { actions_.emplace(time, std::move(action)); }
    void after(Clock::duration delay, Action action) {
        at(Clock::now() + delay, std::move(action));
    }

    /// When the next action is due; nothing while there is none.
    std::optional<Clock::time_point> next() const;
    /// Runs what is due at `now`. What an action adds waits for the next call even when it is due.
    void runDue(Clock::time_point now);

  private:
    std::multimap<Clock::time_point, Action> actions_;
};

}  // namespace desk
