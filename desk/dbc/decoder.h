// From the bytes of a frame to the values of signals, and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "desk/dbc/bit_field.h"
#include "desk/dbc/database.h"

namespace dbc {

/// A signal's raw value as Signal describes it.
struct RawValue {
    std::size_t signal = 0;  ///< its place among the message's signals
    std::uint64_t raw = 0;

    bool operator==(const RawValue&) const = default;
};

/// Takes the frames of one message apart. Any thread; the message must outlive it.
class Decoder {
  public:
    explicit Decoder(const Message& message);

    /// Appends the signals that are in such a frame, in the message's order: those whose bits have
    /// all come and that their switches select. Signals of more than 64 bits are not among them.
    void decode(std::span<const std::uint8_t> bytes, std::vector<RawValue>& values) const;

    /// Puts a raw value into the bytes of a frame; false when they are too short for the signal.
    bool encode(std::size_t signal, std::uint64_t raw, std::span<std::uint8_t> bytes) const;

  private:
    struct Field {
        BitField bits;
        std::uint32_t unusedBits = 0;  // above the sign of signed ones
    };
    bool isSelected(std::size_t signal, const Payload& payload, std::size_t depth = 0) const;

    const Message& message_;
    std::vector<Field> fields_;
    std::vector<bool> isMultiplexed_;
};

/// raw * factor + offset, as a number.
double physicalValue(const Signal& signal, std::uint64_t raw);
/// The same as a text with the digits that factor and offset can make; "NaN", "Inf" and "-Inf"
/// where a floating-point signal says so.
std::string physicalText(const Signal& signal, std::uint64_t raw);
/// The raw value whose physical value is nearest, within what the signal's bits can hold.
std::uint64_t rawValue(const Signal& signal, double physical);
/// The bytes of a signal of more than 64 bits as hexadecimal digits, in the order of its bits;
/// nothing when they have not all come.
std::optional<std::string> longValueText(const Signal& signal, std::span<const std::uint8_t> bytes);

}  // namespace dbc
