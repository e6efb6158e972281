// The hand that benchmarks hold the product's writing against.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

/// Appends to room that is known to be enough.
class HandPen {
  public:
    explicit HandPen(char* out) : start_(out), at_(out) {}
    void write(std::string_view text) {
        std::memcpy(at_, text.data(), text.size());
        at_ += text.size();
    }
    /// A text of which nobody knows what it holds, with its quotes.
    void quote(std::string_view text) {
        *at_++ = '"';
        for (const char c : text) {
            if (c == '"' || c == '\\') {
                *at_++ = '\\';
            }
            *at_++ = static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
        *at_++ = '"';
    }
    void write(std::uint64_t number) { at_ = std::to_chars(at_, at_ + 20, number).ptr; }
    void write(std::int32_t number) { at_ = std::to_chars(at_, at_ + 20, number).ptr; }
    std::size_t size() const { return static_cast<std::size_t>(at_ - start_); }

  private:
    char* start_;
    char* at_;
};
