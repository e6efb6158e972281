#include "bench/path/turns.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

class MedianReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") {
                medians_[run.run_name.function_name] = run.GetAdjustedCPUTime();
            }
        }
    }
    const std::map<std::string, double>& medians() const { return medians_; }

  private:
    std::map<std::string, double> medians_;
};

}  // namespace

std::map<std::string, double> runInTurns(int argc, char** argv) {
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, interleave.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.medians();
}
