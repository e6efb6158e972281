#pragma once

#include <cstddef>
#include <cstdint>

namespace websocket {

/// Checks UTF-8 as it arrives, in pieces of any size. Refuses at the first byte that cannot belong
/// to well-formed UTF-8, not only at the end of its character, so that a peer is told at once.
class Utf8Validator {
  public:
    /// Takes the next bytes. False as soon as the text so far cannot be continued to valid UTF-8.
    bool feed(const std::uint8_t* data, std::size_t size);

    /// Whether the text so far ends with a whole character.
    bool complete() const { return missing_ == 0; }

    /// Forgets the text so far.
    void reset();

  private:
    bool startCharacter(std::uint8_t lead);

    unsigned missing_ = 0;
    // The range of the next continuation byte. Only the second byte of a character has one that is
    // narrower than 80..BF: it is what keeps out overlong forms, surrogates and all above U+10FFFF.
    std::uint8_t low_ = 0x80;
    std::uint8_t high_ = 0xBF;
};

}  // namespace websocket
