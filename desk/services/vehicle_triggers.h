// Markers that a vehicle sets itself.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desk/services/event_service.h"
#include "desk/sources/can_feed.h"

namespace desk {

/// What a signal has to be, like "Engine.Speed > 80" or "Gear.Lever == reverse".
struct Condition {
    enum class Relation { Above, AtLeast, Below, AtMost, Equal, Different };

    std::string text;  // as it was given
    std::string signal;
    Relation relation = Relation::Above;
    double number = 0.0;
    std::string word;  // instead of the number: the text of a value

    bool holds(double value, const std::string& valueText) const;
};

/// Reads a condition. Throws std::invalid_argument that says what is wrong.
Condition readCondition(const std::string& text);

/// Sets a marker whenever a condition becomes true, at most one a second for each. A marker's id is
/// the condition and its time.
class VehicleTriggers {
  public:
    /// All must outlive this object. Nothing is watched without conditions.
    VehicleTriggers(const std::vector<Condition>& conditions, CanFeed* feed,
                    EventRecorder& recorder);

  private:
    struct Watch {
        Condition condition;
        bool isTrue = false;
        std::optional<std::uint64_t> lastMarker;
    };
    void look(Watch& watch, double value, const std::string& text, std::uint64_t time);

    EventRecorder& recorder_;
    std::vector<Watch> watches_;
};

}  // namespace desk
