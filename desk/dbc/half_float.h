// Floating-point numbers of 16 bits.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace dbc {

/// The number of an IEEE 754 half.
inline float fromHalf(std::uint16_t bits) {
    const int exponent = (bits >> 10U) & 0x1F;
    const auto fraction = static_cast<float>(bits & 0x3FFU);
    const float sign = (bits & 0x8000U) != 0 ? -1.0F : 1.0F;
    if (exponent == 0x1F) {
        return fraction == 0.0F ? sign * std::numeric_limits<float>::infinity()
                                : std::numeric_limits<float>::quiet_NaN();
    }
    return exponent == 0 ? sign * std::ldexp(fraction, -24)
                         : sign * std::ldexp(fraction + 1024.0F, exponent - 25);
}

/// The half of a number that one can hold exactly; the next one towards zero otherwise.
inline std::uint16_t toHalf(float number) {
    const std::uint16_t sign = std::signbit(number) ? 0x8000U : 0U;
    const float magnitude = std::fabs(number);
    if (!(magnitude < 65536.0F)) {
        return static_cast<std::uint16_t>(sign | (std::isnan(number) ? 0x7E00U : 0x7C00U));
    }
    if (magnitude == 0.0F) {
        return sign;
    }
    int exponent = 0;
    const float fraction = std::frexp(magnitude, &exponent);  // 0.5 to 1, or 0
    if (exponent < -13) {
        return static_cast<std::uint16_t>(sign |
                                          static_cast<unsigned int>(std::ldexp(magnitude, 24)));
    }
    const auto bits = static_cast<unsigned int>(std::ldexp(fraction, 11)) & 0x3FFU;
    return static_cast<std::uint16_t>(sign | (static_cast<unsigned int>(exponent + 14) << 10U) | bits);
}

}  // namespace dbc
