// Time per bus figure, from the bus's bytes to the browser's text, against the same text written by
// hand.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "bench/path/bus_figure_path.h"
#include "bench/path/turns.h"

namespace {

void byHand(benchmark::State& state) {
    BusFigurePath path;
    char text[1024];
    for (auto _ : state) {
        benchmark::DoNotOptimize(path.writeByHand(text));
        benchmark::ClobberMemory();
    }
}

void figurePath(benchmark::State& state) {
    BusFigurePath path;
    for (auto _ : state) {
        path.pass();
    }
    benchmark::DoNotOptimize(path.bytesSent());
}

void unchangedFigure(benchmark::State& state) {
    BusFigurePath path;
    path.passUnchanged();
    const std::size_t before = path.bytesSent();
    for (auto _ : state) {
        path.passUnchanged();
    }
    if (path.bytesSent() != before) {
        state.SkipWithError("an unchanged figure was sent");
    }
}

BENCHMARK(byHand)->Repetitions(9)->MinTime(0.2);
BENCHMARK(figurePath)->Repetitions(9)->MinTime(0.2);
BENCHMARK(unchangedFigure)->Repetitions(9)->MinTime(0.2);

}  // namespace

int main(int argc, char** argv) {
    if (!BusFigurePath().textsAgree()) {
        std::fprintf(stderr, "the two ways give different texts\n");
        return EXIT_FAILURE;
    }
    auto medians = runInTurns(argc, argv);
    std::printf("figure path / by hand: %.2f (%.0f ns / %.0f ns)\n",
                medians["figurePath"] / medians["byHand"], medians["figurePath"],
                medians["byHand"]);
    std::printf("unchanged figure: %.0f ns\n", medians["unchangedFigure"]);
    return EXIT_SUCCESS;
}
