// A frame of a CAN bus: from its line to its values, against the same signals taken out by hand.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "desk/can/candump_line.h"
#include "desk/can/frame_bits.h"
#include "desk/dbc/decoder.h"
#include "desk/dbc/reader.h"

namespace {

constexpr const char* kDatabase =
    "BO_ 291 A: 8 X\n SG_ a : 0|16@1+ (0.01,0) [0|0] \"\" X\n SG_ b : 16|12@1- (0.1,-40) [0|0] \"\" X\n"
    " SG_ c : 39|16@0+ (1,0) [0|0] \"\" X\n SG_ d : 55|16@0- (0.5,0) [0|0] \"\" X\n"
    " SG_ e : 28|4@1+ (1,0) [0|0] \"\" X\n";
constexpr const char* kLine = "(1700000000.123456) can0 123#0102030405060708";

const dbc::Message& message() {
    static const dbc::Database database = dbc::readDatabase(kDatabase);
    return database.messages.front();
}

desk::can::Frame frame() {
    std::string line = kLine;
    return desk::can::readCandumpLine(line).frame;
}

void decodedByHand(benchmark::State& state) {
    const desk::can::Frame frame = ::frame();
    for (auto _ : state) {
        const auto& d = frame.data;
        benchmark::DoNotOptimize(d.data());
        benchmark::ClobberMemory();
        double a = (d[0] | d[1] << 8) * 0.01;
        int rawB = d[2] | (d[3] & 0x0F) << 8;
        rawB = (rawB & 0x800) != 0 ? rawB - 0x1000 : rawB;
        double b = rawB * 0.1 - 40;
        double c = d[4] << 8 | d[5];
        double e = d[3] >> 4;
        double f = static_cast<std::int16_t>(d[6] << 8 | d[7]) * 0.5;
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(c);
        benchmark::DoNotOptimize(e);
        benchmark::DoNotOptimize(f);
    }
}
BENCHMARK(decodedByHand);

void decoded(benchmark::State& state) {
    const dbc::Decoder decoder(message());
    const desk::can::Frame frame = ::frame();
    std::vector<dbc::RawValue> values;
    for (auto _ : state) {
        values.clear();
        decoder.decode(frame.bytes(), values);
        for (const dbc::RawValue& value : values) {
            double physical = dbc::physicalValue(message().signals[value.signal], value.raw);
            benchmark::DoNotOptimize(physical);
        }
    }
}
BENCHMARK(decoded);

void lineRead(benchmark::State& state) {
    for (auto _ : state) {
        std::string line = kLine;
        benchmark::DoNotOptimize(desk::can::readCandumpLine(line));
    }
}
BENCHMARK(lineRead);

void bitsCounted(benchmark::State& state) {
    const desk::can::Frame frame = ::frame();
    for (auto _ : state) {
        benchmark::DoNotOptimize(desk::can::bitsOf(frame));
    }
}
BENCHMARK(bitsCounted);

}  // namespace

BENCHMARK_MAIN();
