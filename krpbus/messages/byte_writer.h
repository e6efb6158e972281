// Building a message's bytes: big-endian numbers and counted texts.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

/// Appends to a buffer that it owns and that keeps its room between messages. One thread at a time.
class ByteWriter {
  public:
    /// Appends a number of 1, 2, 4 or 8 bytes, most significant byte first. bool is one byte.
    template <class T>
    requires std::integral<T> || std::is_enum_v<T>
    void number(T value) { putBigEndian<sizeof(T)>(static_cast<std::uint64_t>(value)); }
    /// Appends a double as its IEEE 754 bits, most significant byte first.
    void number(double value) { putBigEndian<8>(std::bit_cast<std::uint64_t>(value)); }
    /// Appends a 32-bit length and the text's bytes.
    void text(std::string_view value) {
        number(static_cast<std::uint32_t>(value.size()));
        raw(value.data(), value.size());
    }
    /// Appends two texts, as request 87 carries its path and its marker.
    void push2(std::string_view first, std::string_view second) {
        text(first);
        text(second);
    }
    /// Appends the bytes as they are.
    void raw(const void* data, std::size_t size) {
        if (size != 0) {
            std::memcpy(grow(size), data, size);
        }
    }
    /// Overwrites the 32-bit number at `position` (a size() of before); used for lengths that are
    /// known afterwards.
    void patchLength(std::size_t position, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i) {
            bytes_[position + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
        }
    }

    void clear() { size_ = 0; }
    /// Gives back room beyond `limit` bytes, so that one huge message is not paid for for ever.
    void shrink(std::size_t limit) {
        if (bytes_.size() > limit) {
            bytes_ = {};
            size_ = 0;
        }
    }
    std::size_t size() const { return size_; }
    std::span<const std::uint8_t> bytes() const { return {bytes_.data(), size_}; }

  private:
    template <std::size_t N>
    void putBigEndian(std::uint64_t value) {
        std::uint8_t* out = grow(N);
        for (std::size_t i = 0; i < N; ++i) {
            out[i] = static_cast<std::uint8_t>(value >> (8 * (N - 1 - i)));
        }
    }
    std::uint8_t* grow(std::size_t more) {
        const std::size_t at = size_;
        size_ += more;
        if (size_ > bytes_.size()) {
            bytes_.resize(size_ < 128 ? 256 : 2 * size_);
        }
        return bytes_.data() + at;
    }

    std::vector<std::uint8_t> bytes_;
    std::size_t size_ = 0;
};
