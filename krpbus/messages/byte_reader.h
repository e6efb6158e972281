// Taking a message's bytes apart, where nothing in them can be trusted.
#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

/// Reads big-endian numbers and counted texts from bytes that it does not own. A read past the end
/// gives 0 or an empty text and marks the reader as failed for good, so that a decoder reads all of
/// its fields and asks once. Lengths are checked before anything is allocated.
class ByteReader {
  public:
    explicit ByteReader(std::span<const std::uint8_t> bytes, unsigned int nesting = 0)
        : rest_(bytes), nesting_(nesting) {}

    template <class T>
    requires std::integral<T> || std::is_enum_v<T> T number() {
        return static_cast<T>(takeBigEndian<sizeof(T)>());
    }
    double real() { return std::bit_cast<double>(takeBigEndian<8>()); }
    /// A flag is any byte; everything but 0 is true.
    bool flag() { return number<std::uint8_t>() != 0; }
    std::string text() { return std::string(view()); }
    /// A counted text without a copy; valid as long as the bytes are.
    std::string_view view() {
        const auto bytes = raw(number<std::uint32_t>());
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
    /// The next `size` bytes.
    std::span<const std::uint8_t> raw(std::size_t size) {
        if (size > rest_.size()) {
            fail();
            return {};
        }
        const auto taken = rest_.first(size);
        rest_ = rest_.subspan(size);
        return taken;
    }
    /// Reads a number of elements. One that could not fit into the bytes left, at `smallest` bytes
    /// (1 or more) an element, fails and gives 0.
    std::uint32_t count(std::size_t smallest) {
        const auto elements = number<std::uint32_t>();
        if (elements > rest_.size() / smallest) {
            fail();
            return 0;
        }
        return elements;
    }

    void fail() {
        failed_ = true;
        rest_ = {};
    }
    bool ok() const { return !failed_; }
    /// Everything has been read, and nothing was missing.
    bool complete() const { return !failed_ && rest_.empty(); }
    std::size_t remaining() const { return rest_.size(); }
    /// How many messages this one is wrapped in.
    unsigned int nesting() const { return nesting_; }

  private:
    template <std::size_t N>
    std::uint64_t takeBigEndian() {
        const auto bytes = raw(N);
        std::uint64_t value = 0;
        if (!bytes.empty()) {
            // Right-aligned in eight bytes and turned round as a whole: live data is mostly numbers
            // and lengths, and a loop over their bytes shows.
            std::array<std::uint8_t, 8> aligned{};
            std::memcpy(aligned.data() + (8 - N), bytes.data(), N);
            std::memcpy(&value, aligned.data(), sizeof value);
            if constexpr (std::endian::native == std::endian::little) {
                value = __builtin_bswap64(value);
            }
        }
        return value;
    }

    std::span<const std::uint8_t> rest_;
    unsigned int nesting_;
    bool failed_ = false;
};
