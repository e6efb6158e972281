// Time per signal value, from the bus's bytes to the browser's text, against the same text written
// by hand.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "bench/path/signal_value_path.h"
#include "bench/path/turns.h"

namespace {

void byHand(benchmark::State& state) {
    SignalValuePath path;
    char text[1024];
    for (auto _ : state) {
        benchmark::DoNotOptimize(path.writeByHand(text));
        benchmark::ClobberMemory();
    }
}

void valuePath(benchmark::State& state) {
    SignalValuePath path;
    for (auto _ : state) {
        path.pass();
    }
    benchmark::DoNotOptimize(path.bytesSent());
}

BENCHMARK(byHand)->Repetitions(9)->MinTime(0.2);
BENCHMARK(valuePath)->Repetitions(9)->MinTime(0.2);

}  // namespace

int main(int argc, char** argv) {
    if (!SignalValuePath().textsAgree()) {
        std::fprintf(stderr, "the two ways give different texts\n");
        return EXIT_FAILURE;
    }
    auto medians = runInTurns(argc, argv);
    std::printf("value path / by hand: %.2f (%.0f ns / %.0f ns)\n",
                medians["valuePath"] / medians["byHand"], medians["valuePath"], medians["byHand"]);
    return EXIT_SUCCESS;
}
