// A signal's bits inside the bytes of a frame.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "desk/dbc/database.h"

namespace dbc {

/// The bytes of a frame with room behind them, so that eight bytes can be read from any of them.
class Payload {
  public:
    static constexpr std::size_t kMostBytes = 64;

    /// What is behind kMostBytes is left out.
    explicit Payload(std::span<const std::uint8_t> bytes);

    std::size_t size() const { return size_; }
    const std::uint8_t* at(std::size_t byte) const { return &bytes_[byte]; }

  private:
    std::array<std::uint8_t, kMostBytes + 16> bytes_{};
    std::size_t size_ = 0;
};

/// Where up to 64 bits are, worked out once.
class BitField {
  public:
    /// A length of 0 or of more than 64 bits fits into no payload.
    BitField(std::uint32_t start, std::uint32_t length, ByteOrder order);

    /// Whether all bits of the signal are in a payload of that many bytes.
    bool fits(std::size_t bytes) const { return endByte_ <= bytes; }
    /// The bits as a number without sign. They must fit.
    std::uint64_t read(const Payload& payload) const;
    /// Puts the number's lowest bits in their place. They must fit.
    void write(std::uint64_t value, std::span<std::uint8_t> bytes) const;

  private:
    std::size_t firstByte_ = 0;
    std::size_t endByte_ = 0;  // behind the last one
    std::uint32_t shift_ = 0;  // Intel: bits below the signal; Motorola: above it, in firstByte_
    std::uint32_t length_ = 0;
    bool isMotorola_ = false;
};

}  // namespace dbc
