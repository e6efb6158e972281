// Time per signal value, from the bus's bytes to the browser's text, against the same text written
// by hand.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/signal_value_path.h"

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

// The two take turns, so that a slow moment of the machine meets both.
BENCHMARK(byHand)->Repetitions(9)->MinTime(0.2);
BENCHMARK(valuePath)->Repetitions(9)->MinTime(0.2);

// Prints the usual table, and the ratio of the two medians at its end.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") {
                (run.benchmark_name().starts_with("byHand") ? byHand_ : path_) =
                    run.GetAdjustedCPUTime();
            }
        }
    }
    void printRatio() const {
        std::printf("value path / by hand: %.2f (%.0f ns / %.0f ns)\n", path_ / byHand_, path_,
                    byHand_);
    }

  private:
    double byHand_ = 0.0;
    double path_ = 0.0;
};

}  // namespace

int main(int argc, char** argv) {
    if (!SignalValuePath().textsAgree()) {
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
    reporter.printRatio();
    return EXIT_SUCCESS;
}
