#include "base/utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

// One piece of a text: a whole character, or the longest ill-formed piece that could have begun
// one.
struct Piece {
    std::size_t length;
    bool wellFormed;
};

bool isBetween(unsigned char byte, unsigned char low, unsigned char high) {
    return low <= byte && byte <= high;
}

// How many bytes follow a lead byte, and which values the first of them may have: it is the one
// that rules out overlong forms, surrogates and what lies above U+10FFFF.
struct Sequence {
    std::size_t following;
    unsigned char low;
    unsigned char high;
};

Sequence sequenceOf(unsigned char lead) {
    if (isBetween(lead, 0xC2, 0xDF)) {
        return {1, 0x80, 0xBF};
    }
    if (isBetween(lead, 0xE0, 0xEF)) {
        return {2, lead == 0xE0 ? std::uint8_t{0xA0} : std::uint8_t{0x80},
                lead == 0xED ? std::uint8_t{0x9F} : std::uint8_t{0xBF}};
    }
    if (isBetween(lead, 0xF0, 0xF4)) {
        return {3, lead == 0xF0 ? std::uint8_t{0x90} : std::uint8_t{0x80},
                lead == 0xF4 ? std::uint8_t{0x8F} : std::uint8_t{0xBF}};
    }
    return {0, 0, 0};
}

// The piece that `bytes`, which is not empty, begins with.
Piece nextPiece(std::string_view bytes) {
    const auto lead = static_cast<unsigned char>(bytes.front());
    if (lead < 0x80) {
        return {1, true};
    }
    Sequence sequence = sequenceOf(lead);
    if (sequence.following == 0) {
        return {1, false};
    }
    std::size_t length = 1;
    while (length <= sequence.following) {
        if (length == bytes.size() ||
            !isBetween(static_cast<unsigned char>(bytes[length]), sequence.low, sequence.high)) {
            return {length, false};
        }
        sequence.low = 0x80;
        sequence.high = 0xBF;
        ++length;
    }
    return {length, true};
}

// The number of leading bytes that are ASCII; nearly all text is, so eight are looked at at a time.
std::size_t asciiPrefix(std::string_view bytes) {
    std::size_t at = 0;
    while (bytes.size() - at >= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data() + at, sizeof word);
        if ((word & 0x8080808080808080U) != 0) {
            break;
        }
        at += sizeof word;
    }
    while (at < bytes.size() && static_cast<unsigned char>(bytes[at]) < 0x80) {
        ++at;
    }
    return at;
}

}  // namespace

bool isUtf8(std::string_view bytes) {
    bytes.remove_prefix(asciiPrefix(bytes));
    while (!bytes.empty()) {
        const Piece piece = nextPiece(bytes);
        if (!piece.wellFormed) {
            return false;
        }
        bytes.remove_prefix(piece.length);
        bytes.remove_prefix(asciiPrefix(bytes));
    }
    return true;
}

std::string replaceIllFormedUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Piece piece = nextPiece(bytes);
        text.append(piece.wellFormed ? bytes.substr(0, piece.length) : kReplacementCharacter);
        bytes.remove_prefix(piece.length);
    }
    return text;
}
