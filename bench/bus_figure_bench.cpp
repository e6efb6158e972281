// Time per bus figure, from the bus's bytes to the browser's text, against the same text written by
// hand.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bus_figure_path.h"

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

// They take turns, so that a slow moment of the machine meets all of them.
BENCHMARK(byHand)->Repetitions(9)->MinTime(0.2);
BENCHMARK(figurePath)->Repetitions(9)->MinTime(0.2);
BENCHMARK(unchangedFigure)->Repetitions(9)->MinTime(0.2);

// Prints the usual table, and the ratios of the medians at its end.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") {
                const std::string name = run.benchmark_name();
                (name.starts_with("byHand")       ? byHand_
                 : name.starts_with("figurePath") ? path_
                                                  : unchanged_) = run.GetAdjustedCPUTime();
            }
        }
    }
    void printRatios() const {
        std::printf("figure path / by hand: %.2f (%.0f ns / %.0f ns)\n", path_ / byHand_, path_,
                    byHand_);
        std::printf("unchanged figure: %.0f ns\n", unchanged_);
    }

  private:
    double byHand_ = 0.0;
    double path_ = 0.0;
    double unchanged_ = 0.0;
};

}  // namespace

int main(int argc, char** argv) {
    if (!BusFigurePath().textsAgree()) {
        std::fprintf(stderr, "the two ways give different texts\n");
        return EXIT_FAILURE;
    }
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, interleave.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    return EXIT_SUCCESS;
}
