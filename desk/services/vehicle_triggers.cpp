#include "desk/services/vehicle_triggers.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "base/clock.h"

namespace desk {

namespace {

constexpr std::uint64_t kSecondMicroseconds = 1'000'000;

using Relation = Condition::Relation;
constexpr std::array<std::pair<std::string_view, Relation>, 6> kRelations = {{
    {">=", Relation::AtLeast},
    {"<=", Relation::AtMost},
    {"==", Relation::Equal},
    {"!=", Relation::Different},
    {">", Relation::Above},
    {"<", Relation::Below},
}};

std::string trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    return begin == std::string_view::npos
               ? std::string()
               : std::string(text.substr(begin, text.find_last_not_of(" \t") + 1 - begin));
}

std::string markerOf(const Condition& condition, std::uint64_t time) {
    std::array<char, 8> microseconds{};
    std::snprintf(microseconds.data(), microseconds.size(), "%03u",
                  static_cast<unsigned int>(time % 1000));
    return condition.text + " at " + KRSystem::uint64ToUTCTimeString(time, true) +
           microseconds.data();
}

}  // namespace

bool Condition::holds(double value, const std::string& valueText) const {
    if (!word.empty()) {
        return (valueText == word) == (relation == Relation::Equal);
    }
    switch (relation) {
        case Relation::Above:
            return value > number;
        case Relation::AtLeast:
            return value >= number;
        case Relation::Below:
            return value < number;
        case Relation::AtMost:
            return value <= number;
        case Relation::Equal:
            return !(value < number) && !(value > number);
        case Relation::Different:
            break;
    }
    return value < number || value > number;
}

Condition readCondition(const std::string& text) {
    const std::size_t at = text.find_first_of("<>=!");
    Condition condition;
    condition.text = trimmed(text);
    condition.signal = trimmed(text.substr(0, at));
    const std::string_view rest = at == std::string::npos ? "" : std::string_view(text).substr(at);
    for (const auto& [sign, relation] : kRelations) {
        if (!rest.starts_with(sign) || condition.signal.empty()) {
            continue;
        }
        condition.relation = relation;
        const std::string value = trimmed(rest.substr(sign.size()));
        const char* const end = value.data() + value.size();
        const auto [stopped, error] = std::from_chars(value.data(), end, condition.number);
        const bool isNumber = error == std::errc() && stopped == end;
        if (!isNumber) {
            condition.word = value;
        }
        const bool isText = relation == Relation::Equal || relation == Relation::Different;
        if (!value.empty() && (isNumber || isText)) {
            return condition;
        }
    }
    throw std::invalid_argument("\"" + text +
                                "\" is not a condition like \"EngineData.Speed > 80\" or "
                                "\"Gearbox.Lever == reverse\"");
}

VehicleTriggers::VehicleTriggers(const std::vector<Condition>& conditions, CanFeed* feed,
                                 EventRecorder& recorder)
    : recorder_(recorder) {
    if (feed == nullptr) {
        return;
    }
    for (const Condition& condition : conditions) {
        watches_.push_back({condition, false, std::nullopt});
    }
    for (Watch& watch : watches_) {
        feed->watch(watch.condition.signal,
                    [this, &watch](double value, const std::string& text, std::uint64_t time) {
                        look(watch, value, text, time);
                    });
    }
}

void VehicleTriggers::look(Watch& watch, double value, const std::string& text,
                           std::uint64_t time) {
    const bool wasTrue = std::exchange(watch.isTrue, watch.condition.holds(value, text));
    const bool isTooSoon = watch.lastMarker && time < *watch.lastMarker + kSecondMicroseconds;
    if (wasTrue || !watch.isTrue || isTooSoon) {
        return;
    }
    watch.lastMarker = time;
    recorder_.report(SystemNgEventMessage(getTimeOfDay(), EVENTID_TRIGGER_SET, time, "",
                                          markerOf(watch.condition, time), 0,
                                          SystemMessage::NOT_AVAILABLE));
}

}  // namespace desk
