#include "desk/dbc/bit_field.h"

#include <algorithm>
#include <limits>

namespace dbc {

namespace {

constexpr std::uint32_t kWordBits = 64;

/// Written so that compilers make one load of it, whatever the machine's own order is.
std::uint64_t littleEndian(const std::uint8_t* bytes) {
    std::uint64_t word = 0;
    for (unsigned int i = 0; i < 8; ++i) {
        word |= std::uint64_t{bytes[i]} << (8 * i);
    }
    return word;
}

std::uint64_t bigEndian(const std::uint8_t* bytes) {
    std::uint64_t word = 0;
    for (unsigned int i = 0; i < 8; ++i) {
        word = word << 8U | bytes[i];
    }
    return word;
}

std::uint64_t lowest(std::uint64_t word, std::uint32_t bits) {
    return bits == kWordBits ? word : word & ((std::uint64_t{1} << bits) - 1);
}

}  // namespace

Payload::Payload(std::span<const std::uint8_t> bytes) : size_(std::min(bytes.size(), kMostBytes)) {
    std::copy_n(bytes.begin(), size_, bytes_.begin());
}

BitField::BitField(std::uint32_t start, std::uint32_t length, ByteOrder order)
    : firstByte_(start / 8), length_(length), isMotorola_(order == ByteOrder::Motorola) {
    // Motorola counts from the highest bit of a byte on, so that a signal lies in one piece there.
    shift_ = isMotorola_ ? 7 - start % 8 : start % 8;
    endByte_ = length == 0 || length > kWordBits ? std::numeric_limits<std::size_t>::max()
                                                 : firstByte_ + (shift_ + length + 7) / 8;
}

std::uint64_t BitField::read(const Payload& payload) const {
    const std::uint8_t* const bytes = payload.at(firstByte_);
    const std::uint32_t end = shift_ + length_;
    if (isMotorola_) {
        const std::uint64_t word = bigEndian(bytes);
        if (end <= kWordBits) {
            return lowest(word >> (kWordBits - end), length_);
        }
        const std::uint32_t rest = end - kWordBits;  // in the ninth byte
        return lowest(word << rest | std::uint64_t{bytes[8]} >> (8 - rest), length_);
    }
    std::uint64_t word = littleEndian(bytes) >> shift_;
    if (end > kWordBits) {
        word |= std::uint64_t{bytes[8]} << (kWordBits - shift_);
    }
    return lowest(word, length_);
}

void BitField::write(std::uint64_t value, std::span<std::uint8_t> bytes) const {
    for (std::uint32_t i = 0; i < length_; ++i) {
        // The i-th bit of the field from its beginning in firstByte_.
        const std::uint32_t place = shift_ + i;
        const std::size_t byte = firstByte_ + place / 8;
        const std::uint32_t bit = isMotorola_ ? 7 - place % 8 : place % 8;
        const std::uint32_t valueBit = isMotorola_ ? length_ - 1 - i : i;
        const auto mask = static_cast<std::uint8_t>(1U << bit);
        bytes[byte] = static_cast<std::uint8_t>(
            (value >> valueBit & 1U) != 0 ? bytes[byte] | mask : bytes[byte] & ~mask);
    }
}

}  // namespace dbc
