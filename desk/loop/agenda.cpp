#include "desk/loop/agenda.h"

#include <vector>

namespace desk {

std::optional<Clock::time_point> Agenda::next() const {
    if (actions_.empty()) {
        return std::nullopt;
    }
    return actions_.begin()->first;
}

void Agenda::runDue(Clock::time_point now) {
    std::vector<Action> due;
    while (!actions_.empty() && actions_.begin()->first <= now) {
        due.push_back(std::move(actions_.begin()->second));
        actions_.erase(actions_.begin());
    }
    for (const Action& action : due) {
        action();
    }
}

}  // namespace desk
