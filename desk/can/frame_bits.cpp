#include "desk/can/frame_bits.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace desk::can {

namespace {

constexpr std::uint32_t kCrcPolynomial = 0x4599;
constexpr std::uint32_t kCrcBits = 15;
/// Checksum delimiter, acknowledgement and its delimiter, end of frame, intermission.
constexpr std::uint32_t kTrailer = 1 + 2 + 7 + 3;
/// Behind the checksum of FD frames: acknowledgement, end of frame, intermission.
constexpr std::uint32_t kFdTrailer = 9 + 3;

/// The stream of a frame's bits as they go onto the bus: counts those that are stuffed in.
class BitStream {
  public:
    void put(std::uint32_t value, std::uint32_t bits) {
        for (std::uint32_t i = bits; i-- > 0;) {
            putBit(value >> i & 1U);
        }
    }
    void putByte(std::uint8_t byte) { put(byte, 8); }

    std::uint32_t checksum() const { return crc_; }
    std::uint32_t count() const { return count_; }

  private:
    void putBit(std::uint32_t bit) {
        const std::uint32_t carry = (crc_ >> (kCrcBits - 1) ^ bit) & 1U;
        crc_ = (crc_ << 1U & 0x7FFFU) ^ (carry != 0 ? kCrcPolynomial : 0U);
        ++count_;
        run_ = bit == last_ ? run_ + 1 : 1;
        last_ = bit;
        if (run_ == 5) {
            ++count_;  // a bit of the other kind, which is the first one of the next run
            last_ = 1U - bit;
            run_ = 1;
        }
    }

    std::uint32_t crc_ = 0;
    std::uint32_t count_ = 0;
    std::uint32_t run_ = 0;
    std::uint32_t last_ = 2;
};

/// The lengths that FD frames can have; the place of one in the list is its code.
constexpr std::array<std::size_t, 16> kSizes = {0, 1,  2,  3,  4,  5,  6,  7,
                                                8, 12, 16, 20, 24, 32, 48, 64};

std::size_t lengthCode(std::size_t size) {
    const auto* const found = std::lower_bound(kSizes.begin(), kSizes.end(), size);
    return static_cast<std::size_t>(found - kSizes.begin());
}

/// Start of frame and the identifier, with what stands between its two parts.
void putId(const Frame& frame, bool isRemote, BitStream& stream) {
    stream.put(0, 1);
    if (frame.isExtended) {
        stream.put(frame.id >> 18U, 11);
        stream.put(3, 2);  // substitute remote request, extended
        stream.put(frame.id & 0x3FFFFU, 18);
        stream.put(isRemote ? 1 : 0, 1);
    } else {
        stream.put(frame.id, 11);
        stream.put(isRemote ? 1 : 0, 1);
        stream.put(0, 1);  // not extended
    }
}

FrameBits classicBits(const Frame& frame) {
    const bool isRemote = frame.kind == Frame::Kind::Remote;
    BitStream stream;
    putId(frame, isRemote, stream);
    // Reserved bits: two of an extended frame, one of a standard one.
    stream.put(0, frame.isExtended ? 2 : 1);
    stream.put(std::min<std::uint32_t>(frame.size, 8), 4);
    if (!isRemote) {
        for (const std::uint8_t byte : frame.bytes()) {
            stream.putByte(byte);
        }
    }
    stream.put(stream.checksum(), kCrcBits);
    return {stream.count() + kTrailer, 0};
}

FrameBits fdBits(const Frame& frame) {
    BitStream stream;
    putId(frame, false, stream);
    stream.put(1, 1);  // FD
    stream.put(0, 1);  // reserved
    stream.put(frame.hasFastData ? 1 : 0, 1);
    const std::uint32_t slowBits = stream.count();
    stream.put(frame.isErrorPassive ? 1 : 0, 1);
    const std::size_t code = lengthCode(frame.size);
    stream.put(static_cast<std::uint32_t>(code), 4);
    const std::size_t size = kSizes[code];
    for (std::size_t i = 0; i < size; ++i) {
        stream.putByte(frame.data[i]);
    }
    // With the stuff bit count, and a stuff bit in front of every four.
    const std::uint32_t checksum = size <= 16 ? 28 : 33;
    const std::uint32_t dataBits = stream.count() - slowBits + checksum - 1;
    const std::uint32_t otherBits = slowBits + 1 + kFdTrailer;
    return frame.hasFastData ? FrameBits{otherBits, dataBits} : FrameBits{otherBits + dataBits, 0};
}

}  // namespace

FrameBits bitsOf(const Frame& frame) {
    if (frame.kind == Frame::Kind::Error) {
        return {};
    }
    return frame.isFd ? fdBits(frame) : classicBits(frame);
}

}  // namespace desk::can
