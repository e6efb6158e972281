#include "base/utf8_validator.h"

#include <cstring>

namespace websocket {

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
    return true;
}

bool Utf8Validator::feed(const std::uint8_t* data, std::size_t size) {
    std::size_t i = 0;
    while (i < size) {
        if (missing_ == 0) {
            i += asciiPrefix(data + i, size - i);
            if (i == size) {
                break;
            }
            if (!startCharacter(data[i])) {
                return false;
            }
        } else {
            if (data[i] < low_ || data[i] > high_) {
                return false;
            }
            --missing_;
            low_ = 0x80;
            high_ = 0xBF;
        }
        ++i;
    }
    return true;
}

void Utf8Validator::reset() {
    missing_ = 0;
    low_ = 0x80;
    high_ = 0xBF;
}

}  // namespace websocket
