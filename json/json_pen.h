// Writing JSON by hand, for the few messages that are sent very often.
#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace klv {

/// Writes one behind the other into room that its user knows to be enough: the length of the fixed
/// parts, kRoomPerNumber for each number, and kRoomPerByte for each byte of a string, with
/// kRoomPerString more for each string. One thread.
class JsonPen {
  public:
    static constexpr std::size_t kRoomPerNumber = 20;
    /// The longest form of one byte of text: \u001F. An ill-formed byte takes three.
    static constexpr std::size_t kRoomPerByte = 6;
    /// The quotes, and a word that a copy may write too far.
    static constexpr std::size_t kRoomPerString = 2 + sizeof(std::uint64_t);

    explicit JsonPen(char* out) : start_(out), at_(out) {}

    /// The text as it is.
    void raw(std::string_view text) {
        std::memcpy(at_, text.data(), text.size());
        at_ += text.size();
    }

    void number(std::integral auto value) {
        at_ = std::to_chars(at_, at_ + kRoomPerNumber, value).ptr;
    }

    /// The text with its quotes, escaped as the JSON library does it and valid UTF-8 whatever the
    /// logger sent.
    void string(std::string_view text) {
        *at_++ = '"';
        if (!plain(text)) {
            escaped(text);
        }
        *at_++ = '"';
    }

    /// What has been written.
    std::string_view text() const { return {start_, static_cast<std::size_t>(at_ - start_)}; }

  private:
    using Word = std::uint64_t;

    /// Whether any of eight bytes is '"', '\\', a control character or not ASCII.
    static bool needsCare(Word word) {
        constexpr Word kOnes = 0x0101010101010101U;
        constexpr Word kHighs = 0x8080808080808080U;
        const Word quote = word ^ (kOnes * '"');
        const Word backslash = word ^ (kOnes * '\\');
        // A byte that is 0, or below 0x20, borrows into its high bit; a byte above 0x7F has it set.
        const Word found = (quote - kOnes) | (backslash - kOnes) | (word - kOnes * 0x20) | word;
        return (found & kHighs) != 0;
    }

    static bool needsCare(char c) {
        return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20 ||
               static_cast<unsigned char>(c) >= 0x80;
    }

    /// Copies a text that can stand between quotes as it is, and nearly every text can. False, with
    /// nothing written, for any other.
    bool plain(std::string_view text) {
        char* out = at_;
        while (text.size() >= sizeof(Word)) {
            Word word = 0;
            std::memcpy(&word, text.data(), sizeof word);
            if (needsCare(word)) {
                return false;
            }
            std::memcpy(out, &word, sizeof word);
            out += sizeof word;
            text.remove_prefix(sizeof word);
        }
        for (const char c : text) {
            if (needsCare(c)) {
                return false;
            }
            *out++ = c;
        }
        at_ = out;
        return true;
    }

    void escaped(std::string_view text);

    char* start_;
    char* at_;
};

}  // namespace klv
