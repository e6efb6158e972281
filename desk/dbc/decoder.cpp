#include "desk/dbc/decoder.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "desk/dbc/half_float.h"

namespace dbc {

namespace {

/// More switches that depend on each other would be a ring.
constexpr std::size_t kMostSwitches = 64;

float toFloat(const Signal& signal, std::uint64_t raw) {
    return signal.length == 16 ? fromHalf(static_cast<std::uint16_t>(raw))
                               : std::bit_cast<float>(static_cast<std::uint32_t>(raw));
}

bool isUnscaled(const Scaling& scaling) {
    return scaling.factor() == 1.0 && scaling.offset() == 0.0;
}

double limited(double value, double low, double high) {
    return std::isnan(value) ? 0.0 : std::clamp(value, low, high);
}

}  // namespace

Decoder::Decoder(const Message& message) : message_(message) {
    for (const Signal& signal : message.signals) {
        const bool isSigned = signal.kind == ValueKind::Signed;
        const std::uint32_t unused =
            isSigned && signal.length > 0 && signal.length < 64 ? 64 - signal.length : 0;
        fields_.push_back({BitField(signal.start, signal.length, signal.order), unused});
        isMultiplexed_.push_back(signal.multiplexing.has_value());
    }
}

void Decoder::decode(std::span<const std::uint8_t> bytes, std::vector<RawValue>& values) const {
    const Payload payload(bytes);
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        const Field& field = fields_[i];
        if (!field.bits.fits(payload.size()) || (isMultiplexed_[i] && !isSelected(i, payload))) {
            continue;
        }
        const std::uint64_t bits = field.bits.read(payload);
        // Shifting up and down again extends the sign.
        const auto raw = static_cast<std::int64_t>(bits << field.unusedBits) >> field.unusedBits;
        values.push_back({i, field.unusedBits == 0 ? bits : static_cast<std::uint64_t>(raw)});
    }
}

bool Decoder::isSelected(std::size_t signal, const Payload& payload, std::size_t depth) const {
    const auto& multiplexing = message_.signals[signal].multiplexing;
    if (!multiplexing) {
        return true;
    }
    const BitField& bits = fields_[multiplexing->switchSignal].bits;
    if (depth == kMostSwitches || !bits.fits(payload.size())) {
        return false;
    }
    const std::uint64_t value = bits.read(payload);
    return std::any_of(
               multiplexing->ranges.begin(), multiplexing->ranges.end(),
               [&](const auto& range) { return value >= range.first && value <= range.second; }) &&
           isSelected(multiplexing->switchSignal, payload, depth + 1);
}

bool Decoder::encode(std::size_t signal, std::uint64_t raw, std::span<std::uint8_t> bytes) const {
    if (!fields_[signal].bits.fits(bytes.size())) {
        return false;
    }
    fields_[signal].bits.write(raw, bytes);
    return true;
}

double physicalValue(const Signal& signal, std::uint64_t raw) {
    switch (signal.kind) {
        case ValueKind::Signed:
            return signal.scaling.physical(static_cast<std::int64_t>(raw));
        case ValueKind::Float:
            return signal.scaling.physical(static_cast<double>(toFloat(signal, raw)));
        case ValueKind::Double:
            return signal.scaling.physical(std::bit_cast<double>(raw));
        case ValueKind::Unsigned:
            break;
    }
    return signal.scaling.physical(raw);
}

std::string physicalText(const Signal& signal, std::uint64_t raw) {
    switch (signal.kind) {
        case ValueKind::Signed:
            return signal.scaling.text(static_cast<std::int64_t>(raw));
        case ValueKind::Float:
            return isUnscaled(signal.scaling)
                       ? shortestText(toFloat(signal, raw))
                       : shortestText(static_cast<float>(physicalValue(signal, raw)));
        case ValueKind::Double:
            return shortestText(physicalValue(signal, raw));
        case ValueKind::Unsigned:
            break;
    }
    return signal.scaling.text(raw);
}

std::uint64_t rawValue(const Signal& signal, double physical) {
    const double factor = signal.scaling.factor();
    const double raw = factor == 0.0 ? 0.0 : (physical - signal.scaling.offset()) / factor;
    const auto bits = static_cast<int>(std::clamp(signal.length, 1U, 64U));
    switch (signal.kind) {
        case ValueKind::Float:
            return signal.length == 16 ? toHalf(static_cast<float>(raw))
                                       : std::bit_cast<std::uint32_t>(static_cast<float>(raw));
        case ValueKind::Double:
            return std::bit_cast<std::uint64_t>(raw);
        case ValueKind::Signed: {
            const double end = std::ldexp(1.0, bits - 1);
            if (raw >= end) {
                return (std::uint64_t{1} << (static_cast<unsigned int>(bits) - 1U)) - 1;
            }
            return static_cast<std::uint64_t>(std::llround(limited(raw, -end, end)));
        }
        case ValueKind::Unsigned:
            break;
    }
    if (raw >= std::ldexp(1.0, bits)) {
        return bits == 64 ? ~std::uint64_t{0}
                          : (std::uint64_t{1} << static_cast<unsigned int>(bits)) - 1;
    }
    return static_cast<std::uint64_t>(std::round(limited(raw, 0.0, std::ldexp(1.0, 64))));
}

std::optional<std::string> longValueText(const Signal& signal,
                                         std::span<const std::uint8_t> bytes) {
    static constexpr const char* kDigits = "0123456789ABCDEF";
    const Payload payload(bytes);
    std::string text;
    // Behind the start bit eight bits at a time, the last ones may be fewer.
    std::uint32_t start = signal.start;
    for (std::uint32_t done = 0; done < signal.length; done += 8) {
        const BitField piece(start, std::min(8U, signal.length - done), signal.order);
        if (!piece.fits(payload.size())) {
            return std::nullopt;
        }
        const std::uint64_t byte = piece.read(payload);
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
        start += 8;  // in the same place of the next byte, in either order
    }
    return text;
}

}  // namespace dbc
