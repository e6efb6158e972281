#include "desk/dbc/decoder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <random>

#include "desk/dbc/half_float.h"
#include "tests/desk/dbc/bit_walk.h"

using dbc::BitField;
using dbc::ByteOrder;
using dbc::Decoder;
using dbc::Message;
using dbc::Payload;
using dbc::RawValue;
using dbc::Signal;
using dbc::ValueKind;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Bytes = std::vector<std::uint8_t>;

Signal signalOf(std::uint32_t start, std::uint32_t length, ByteOrder order,
                ValueKind kind = ValueKind::Unsigned) {
    Signal signal;
    signal.start = start;
    signal.length = length;
    signal.order = order;
    signal.kind = kind;
    return signal;
}

std::vector<RawValue> decode(const Message& message, const Bytes& bytes) {
    std::vector<RawValue> values;
    Decoder(message).decode(bytes, values);
    return values;
}

TEST(BitField, ReadsEverySignalAsAWalkOverItsBitsDoes) {
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        Bytes bytes(64);
        std::generate(bytes.begin(), bytes.end(),
                      [&] { return static_cast<std::uint8_t>(random()); });
        bytes.resize(round % 4 == 0 ? 8 : 64);
        for (const ByteOrder order : {ByteOrder::Intel, ByteOrder::Motorola}) {
            for (std::uint32_t length = 1; length <= 64; ++length) {
                const auto start = static_cast<std::uint32_t>(random() % (bytes.size() * 8));
                const Signal signal = signalOf(start, length, order);
                const BitField field(start, length, order);
                const auto walked = walkBits(signal, bytes);
                ASSERT_EQ(field.fits(bytes.size()), walked.has_value()) << start << "|" << length;
                if (walked) {
                    ASSERT_EQ(field.read(Payload(bytes)), *walked) << start << "|" << length;
                }
            }
        }
    }
}

TEST(BitField, WritesWhatItReadsAndNothingElse) {
    std::mt19937_64 random(11);
    for (int round = 0; round < 2000; ++round) {
        const ByteOrder order = round % 2 == 0 ? ByteOrder::Intel : ByteOrder::Motorola;
        const auto start = static_cast<std::uint32_t>(random() % 64);
        const auto length = static_cast<std::uint32_t>(random() % 64 + 1);
        const BitField field(start, length, order);
        Bytes bytes(8, 0x5A);
        if (!field.fits(bytes.size())) {
            continue;
        }
        const std::uint64_t mask = length == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << length) - 1;
        const std::uint64_t before = field.read(Payload(bytes));
        const std::uint64_t value = random() & mask;
        field.write(value, bytes);
        ASSERT_EQ(field.read(Payload(bytes)), value);
        field.write(before, bytes);
        ASSERT_EQ(bytes, Bytes(8, 0x5A));
    }
}

TEST(BitField, CountsMotorolaBitsFromTheHighestOneOn) {
    EXPECT_EQ(BitField(3, 12, ByteOrder::Motorola).read(Payload(Bytes{0x0A, 0xBC})), 0xABCU);
    EXPECT_EQ(BitField(7, 16, ByteOrder::Motorola).read(Payload(Bytes{0x12, 0x34})), 0x1234U);
    EXPECT_EQ(BitField(0, 16, ByteOrder::Intel).read(Payload(Bytes{0x12, 0x34})), 0x3412U);
}

TEST(BitField, FitsIntoNothingWithoutBitsOrWithTooMany) {
    EXPECT_FALSE(BitField(0, 0, ByteOrder::Intel).fits(64));
    EXPECT_FALSE(BitField(0, 65, ByteOrder::Intel).fits(64));
}

TEST(Decoder, ExtendsTheSignOfSignedSignals) {
    Message message;
    message.signals = {signalOf(0, 8, ByteOrder::Intel, ValueKind::Signed),
                       signalOf(8, 1, ByteOrder::Intel, ValueKind::Signed),
                       signalOf(0, 64, ByteOrder::Intel, ValueKind::Signed),
                       signalOf(0, 8, ByteOrder::Intel)};
    const auto values = decode(message, {0xFE, 0x01, 0, 0, 0, 0, 0, 0x80});
    EXPECT_THAT(values, ElementsAre(RawValue{0, static_cast<std::uint64_t>(-2)},
                                    RawValue{1, static_cast<std::uint64_t>(-1)},
                                    RawValue{2, 0x80000000000001FEU}, RawValue{3, 0xFEU}));
    EXPECT_EQ(physicalText(message.signals[0], values[0].raw), "-2");
    EXPECT_EQ(physicalText(message.signals[1], values[1].raw), "-1");
}

TEST(Decoder, LeavesOutWhatHasNotComeWhole) {
    Message message;
    message.signals = {signalOf(0, 8, ByteOrder::Intel), signalOf(12, 8, ByteOrder::Intel),
                       signalOf(7, 16, ByteOrder::Motorola), signalOf(600, 8, ByteOrder::Intel)};
    EXPECT_THAT(decode(message, {1, 2}), ElementsAre(RawValue{0, 1}, RawValue{2, 0x0102}));
    EXPECT_THAT(decode(message, {1}), ElementsAre(RawValue{0, 1}));
    EXPECT_THAT(decode(message, {}), IsEmpty());
    EXPECT_EQ(decode(message, Bytes(200, 1)).size(), 3U);
}

TEST(Decoder, FollowsSwitchesOfSwitches) {
    Message message;
    message.signals = {signalOf(0, 8, ByteOrder::Intel), signalOf(8, 8, ByteOrder::Intel),
                       signalOf(16, 8, ByteOrder::Intel), signalOf(24, 8, ByteOrder::Intel)};
    message.signals[1].multiplexing = dbc::Multiplexing{0, {{1, 1}}};
    message.signals[2].multiplexing = dbc::Multiplexing{1, {{0, 3}, {7, 9}}};
    const auto places = [&](const Bytes& bytes) {
        std::vector<std::size_t> found;
        for (const RawValue& value : decode(message, bytes)) {
            found.push_back(value.signal);
        }
        return found;
    };
    EXPECT_THAT(places({1, 3, 0, 0}), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(places({1, 8, 0, 0}), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(places({1, 5, 0, 0}), ElementsAre(0, 1, 3));
    EXPECT_THAT(places({2, 3, 0, 0}), ElementsAre(0, 3)) << "no branch has that value";
    EXPECT_THAT(places({1}), ElementsAre(0));
}

TEST(Decoder, ReadsFloatingPointNumbers) {
    Message message;
    message.signals = {signalOf(0, 32, ByteOrder::Intel, ValueKind::Float),
                       signalOf(7, 64, ByteOrder::Motorola, ValueKind::Double),
                       signalOf(0, 16, ByteOrder::Intel, ValueKind::Float)};
    Bytes bytes(8);
    const Decoder decoder(message);
    const auto text = [&](std::size_t signal, std::uint64_t raw) {
        EXPECT_TRUE(decoder.encode(signal, raw, bytes));
        std::vector<RawValue> values;
        decoder.decode(bytes, values);
        return physicalText(message.signals[signal], values[signal].raw);
    };
    EXPECT_EQ(text(0, std::bit_cast<std::uint32_t>(0.1F)), "0.1");
    EXPECT_EQ(text(0, std::bit_cast<std::uint32_t>(-1.5e30F)), "-1.5e+30");
    EXPECT_EQ(text(1, std::bit_cast<std::uint64_t>(0.1)), "0.1");
    EXPECT_EQ(text(1, std::bit_cast<std::uint64_t>(std::nan(""))), "NaN");
    EXPECT_EQ(text(2, 0x3E00), "1.5");
    EXPECT_EQ(text(2, 0xFC00), "-Inf");
    message.signals[0].scaling = dbc::Scaling("0.1", "0");
    EXPECT_EQ(physicalText(message.signals[0], std::bit_cast<std::uint32_t>(1.5F)), "0.15");
}

TEST(Decoder, DoesNotEncodeIntoBytesThatAreTooShort) {
    Message message;
    message.signals = {signalOf(12, 8, ByteOrder::Intel)};
    Bytes bytes(2);
    EXPECT_FALSE(Decoder(message).encode(0, 1, bytes));
    EXPECT_EQ(bytes, Bytes(2));
}

TEST(RawValueOf, IsTheNearestOneThatTheBitsHold) {
    Signal signal = signalOf(0, 8, ByteOrder::Intel);
    signal.scaling = dbc::Scaling("0.5", "-40");
    EXPECT_EQ(rawValue(signal, -40), 0U);
    EXPECT_EQ(rawValue(signal, -38.6), 3U);
    EXPECT_EQ(rawValue(signal, 1000), 255U);
    EXPECT_EQ(rawValue(signal, -1000), 0U);
    signal.kind = ValueKind::Signed;
    signal.scaling = dbc::Scaling();
    EXPECT_EQ(rawValue(signal, -3), static_cast<std::uint64_t>(-3));
    EXPECT_EQ(rawValue(signal, 500), 127U);
    EXPECT_EQ(rawValue(signal, -500), static_cast<std::uint64_t>(-128));
    EXPECT_EQ(rawValue(signal, std::nan("")), 0U);
    signal.length = 64;
    EXPECT_EQ(rawValue(signal, 1e30), static_cast<std::uint64_t>(INT64_MAX));
    signal.kind = ValueKind::Unsigned;
    EXPECT_EQ(rawValue(signal, 1e30), ~std::uint64_t{0});
}

TEST(LongValueText, GivesTheBytesOfSignalsThatAreNoNumbers) {
    const Bytes bytes = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x10, 0x32};
    EXPECT_EQ(longValueText(signalOf(7, 72, ByteOrder::Motorola), bytes), "0123456789ABCDEF10");
    EXPECT_EQ(longValueText(signalOf(8, 72, ByteOrder::Intel), bytes), "23456789ABCDEF1032");
    EXPECT_EQ(longValueText(signalOf(16, 72, ByteOrder::Intel), bytes), std::nullopt);
}

TEST(HalfFloat, GoesThereAndBack) {
    for (unsigned int bits = 0; bits < 0x10000; ++bits) {
        const auto half = static_cast<std::uint16_t>(bits);
        const float number = dbc::fromHalf(half);
        if (!std::isnan(number)) {
            ASSERT_EQ(dbc::toHalf(number), half) << bits;
        }
    }
}

}  // namespace
