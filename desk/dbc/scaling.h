// From raw values of signals to physical ones.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace dbc {

/// A decimal number as it was written: mantissa * 10^-digits, where both fit.
struct Decimal {
    std::int64_t mantissa = 0;
    int digits = 0;  ///< behind the point, 0 or more
};

/// Reads a number like "-0.25", ".25", "5e-06" or "1.8E+019", exactly where that is possible.
/// Nothing where the text is none, or where it has too many digits.
std::optional<Decimal> readDecimal(std::string_view text);

/// physical = raw * factor + offset. Texts of physical values have the digits that factor and
/// offset can make, no more: with 0.1 and -40 "12.3", not "12.300000000000004".
class Scaling {
  public:
    /// physical = raw.
    Scaling() = default;
    /// The two as they were written. Texts that are no numbers count as 1 and 0.
    Scaling(std::string_view factor, std::string_view offset);

    double factor() const { return factor_; }
    double offset() const { return offset_; }

    double physical(std::int64_t raw) const { return static_cast<double>(raw) * factor_ + offset_; }
    double physical(std::uint64_t raw) const {
        return static_cast<double>(raw) * factor_ + offset_;
    }
    double physical(double raw) const { return raw * factor_ + offset_; }

    std::string text(std::int64_t raw) const;
    std::string text(std::uint64_t raw) const;

  private:
    /// factor and offset times 10^digits, where whole numbers can hold them.
    struct Exact {
        std::int64_t factor = 1;
        std::int64_t offset = 0;
        int digits = 0;
    };
    std::string roundedText(double physical) const;

    double factor_ = 1.0;
    double offset_ = 0.0;
    std::optional<Exact> exact_ = Exact{};
};

/// The shortest text that reads as the same number: "0.1", "1e+20", "NaN", "Inf", "-Inf".
std::string shortestText(double number);
std::string shortestText(float number);

}  // namespace dbc
