#include "desk/services/stagger.h"

#include <cmath>
#include <cstdint>
#include <numeric>

#include "krpbus/address/macaddr.h"

namespace desk {

/// Steps of the golden section leave no large gap, however many of them there are.
Stagger::Stagger(std::string_view mac) {
    constexpr double kGoldenSection = 0.6180339887498949;
    const auto address = macaddr_t::parse(mac).value_or(macaddr_t());
    const auto number =
        std::accumulate(address.bytes.begin() + 3, address.bytes.end(), std::uint32_t{0},
                        [](std::uint32_t sum, std::uint8_t byte) { return sum << 8 | byte; });
    part_ = std::fmod(number * kGoldenSection, 1.0);
}

Clock::time_point Stagger::begin(Clock::time_point now, Clock::duration period) const {
    if (!part_) {
        return now;
    }
    const auto step = period / ((period - Clock::duration(1)) / kLongest + 1);
    const auto offset = std::chrono::duration_cast<Clock::duration>(*part_ * step);
    const auto late = (now.time_since_epoch() - offset) % step;
    return late == Clock::duration(0) ? now : now + step - late;
}

}  // namespace desk
