#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "modules/trigger/trigger_catalogue.h"
#include "tests/modules/trigger/plain_merge.h"
#include "tests/modules/trigger/trigger_samples.h"

namespace {

using List = KRPResponseGetEventList;

// Small ranges, so that equal times, equal markers and wrapped times are the rule.
class RandomEvents {
  public:
    explicit RandomEvents(unsigned int seed) : random_(seed) {}

    std::size_t number(std::size_t first, std::size_t last) {
        return std::uniform_int_distribution<std::size_t>(first, last)(random_);
    }

    List::event_t next() {
        const std::uint64_t base = number(0, 3) == 0 ? std::uint64_t{1} << 63U : 0;
        const std::string zone = number(0, 1) == 0 ? "UTC" : "CET";
        return event(base + number(0, 20), "marker" + std::to_string(number(0, 40)),
                     static_cast<std::int32_t>(number(0, 1000)), zone);
    }

    std::vector<List::event_t> list(std::size_t most) {
        std::vector<List::event_t> events(number(0, most));
        std::generate(events.begin(), events.end(), [this] { return next(); });
        return events;
    }

    std::int64_t offset() { return static_cast<std::int64_t>(number(0, 40)) - 20; }

  private:
    std::mt19937 random_;
};

const std::vector<std::string> kLoggers = {kLocalLogger, kOtherLogger, kThirdLogger, "", "z"};

// One collection: answers come in, some twice, some are merged alone; merges happen in between.
void compareOneCollection(RandomEvents& random) {
    TriggerInfo fast;
    PlainMerge plain;
    std::map<std::string, PlainMerge::Answer> answers;
    std::map<std::string, std::int64_t> offsets;
    for (const std::string& logger : kLoggers) {
        offsets[logger] = random.offset();
        knowOffset(logger, offsets[logger]);
    }
    const std::size_t steps = random.number(1, 12);
    for (std::size_t step = 0; step < steps; ++step) {
        const std::string& logger = kLoggers[random.number(0, kLoggers.size() - 1)];
        const List message(random.list(30));
        switch (random.number(0, 5)) {
            case 0:
                fast.mergeTriggerMessage(&message, logger);
                plain.merge({message.events, offsets[logger]});
                ASSERT_EQ(fast.getTriggerList(), plain.events());
                break;
            case 1:
                ASSERT_EQ(fast.mergeTrigger(), plain.merge(answers));
                break;
            default:
                fast.addTriggerMessage(&message, logger);
                answers[logger] = {message.events, offsets[logger]};
                break;
        }
    }
    ASSERT_EQ(fast.mergeTrigger(), plain.merge(answers));
}

}  // namespace

TEST(TriggerMerge, GivesTheListOfThePlainSteps) {
    for (unsigned int seed = 0; seed < 3000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomEvents random(seed);
        compareOneCollection(random);
        if (HasFatalFailure()) {
            return;
        }
    }
}
