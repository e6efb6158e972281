// UTF-8: whether a text is well-formed, as it arrives or whole, and making it so.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace base {

/// U+FFFD: what stands for bytes that cannot be shown.
inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

/// Checks UTF-8 as it arrives, in pieces of any size. Refuses at the first byte that cannot belong
/// to well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF), not only at the
/// end of its character, so that a peer is told at once.
class Utf8Validator {
  public:
    /// Takes the next bytes up to the first that the text so far cannot be continued with; how many
    /// it took. After fewer than all, `reset` is called before the next.
    std::size_t take(const std::uint8_t* data, std::size_t size);

    /// Takes the next bytes. False as soon as the text so far cannot be continued to valid UTF-8.
    bool feed(const std::uint8_t* data, std::size_t size) { return take(data, size) == size; }

    /// How many bytes of a character that is not whole the text so far ends with.
    std::size_t begun() const { return begun_; }

    /// Whether the text so far ends with a whole character.
    bool complete() const { return missing_ == 0; }

    /// Forgets the text so far.
    void reset() { *this = Utf8Validator(); }

  private:
    bool startCharacter(std::uint8_t lead);

    unsigned missing_ = 0;
    unsigned begun_ = 0;
    /// The range of the next continuation byte. Only the second byte of a character has one that is
    /// narrower than 80..BF: it is what keeps out overlong forms, surrogates and all above
    /// U+10FFFF.
    std::uint8_t low_ = 0x80;
    std::uint8_t high_ = 0xBF;
};

/// Whether the bytes are well-formed UTF-8. Any thread.
bool isUtf8(std::string_view bytes);

/// The same text with each ill-formed piece replaced by U+FFFD, one per maximal piece as browsers
/// do it themselves. Any thread.
std::string replaceIllFormedUtf8(std::string_view bytes);

}  // namespace base
