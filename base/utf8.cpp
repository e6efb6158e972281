#include "base/utf8.h"

#include <cstring>

namespace base {

namespace {

/// How many bytes at the front are plain ASCII, eight at a time: most text is.
std::size_t asciiPrefix(const std::uint8_t* data, std::size_t size) {
    std::size_t n = 0;
    while (size - n >= sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, data + n, sizeof word);
        if (word & 0x8080808080808080ULL) {
            break;
        }
        n += sizeof word;
    }
    return n;
}

const std::uint8_t* bytesOf(std::string_view bytes) {
    return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

}  // namespace

bool Utf8Validator::startCharacter(std::uint8_t lead) {
    if (lead < 0x80) {
        return true;
    }
    low_ = 0x80;
    high_ = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        missing_ = 1;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        missing_ = 2;
        if (lead == 0xE0) {
            low_ = 0xA0;
        } else if (lead == 0xED) {
            high_ = 0x9F;
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        missing_ = 3;
        if (lead == 0xF0) {
            low_ = 0x90;
        } else if (lead == 0xF4) {
            high_ = 0x8F;
        }
    } else {
        return false;
    }
    begun_ = 1;
    return true;
}

std::size_t Utf8Validator::take(const std::uint8_t* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        if (missing_ == 0) {
            i += asciiPrefix(data + i, size - i);
            if (i == size || !startCharacter(data[i])) {
                return i;
            }
            continue;
        }
        if (data[i] < low_ || data[i] > high_) {
            return i;
        }
        low_ = 0x80;
        high_ = 0xBF;
        begun_ = --missing_ == 0 ? 0 : begun_ + 1;
    }
    return size;
}

bool isUtf8(std::string_view bytes) {
    Utf8Validator validator;
    return validator.feed(bytesOf(bytes), bytes.size()) && validator.complete();
}

std::string replaceIllFormedUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        Utf8Validator validator;
        const std::size_t taken = validator.take(bytesOf(bytes), bytes.size());
        text.append(bytes.substr(0, taken - validator.begun()));
        if (taken == bytes.size() && validator.complete()) {
            break;
        }
        text.append(kReplacementCharacter);
        // A character that broke off, or a byte that begins none.
        bytes.remove_prefix(validator.begun() > 0 ? taken : taken + 1);
    }
    return text;
}

}  // namespace base
