// Runs a fuzz target without libFuzzer: first what its corpus holds, then so many inputs that are
// made of that by chance.
//
//   <target> <directory of the corpus> <inputs> [seed]
//
// The same seed makes the same inputs. An input is kept in a file until it has been survived:
// LV_FUZZ_KEEP names it.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kLargestInput = 4096;

/// Makes inputs of others.
class Mutator {
  public:
    Mutator(std::vector<Bytes> corpus, std::uint64_t seed)
        : corpus_(std::move(corpus)), random_(seed) {}

    Bytes next() {
        Bytes input = corpus_[below(corpus_.size())];
        for (std::size_t steps = 1 + below(6); steps > 0; --steps) {
            change(input);
        }
        input.resize(std::min(input.size(), kLargestInput));
        return input;
    }

  private:
    std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_() % end); }

    void change(Bytes& input) {
        const std::size_t at = below(input.size() + 1);
        const auto place = input.begin() + static_cast<std::ptrdiff_t>(at);
        const std::size_t rest = input.size() - at;
        switch (below(8)) {
            case 0:  // another byte
                if (rest > 0)
                    *place = static_cast<std::uint8_t>(random_());
                break;
            case 1:  // another bit
                if (rest > 0)
                    *place = static_cast<std::uint8_t>(*place ^ 1U << below(8));
                break;
            case 2:  // bytes that numbers and lengths like to stumble over
                if (rest > 0)
                    *place = kOdd[below(kOdd.size())];
                break;
            case 3:
                input.insert(place, 1 + below(4), static_cast<std::uint8_t>(random_()));
                break;
            case 4:
                input.erase(place, place + static_cast<std::ptrdiff_t>(
                                               std::min(rest, std::size_t{1} + below(8))));
                break;
            case 5:  // cut
                input.resize(at);
                break;
            case 6: {  // a piece of another input
                const Bytes& other = corpus_[below(corpus_.size())];
                const std::size_t from = below(other.size() + 1);
                const std::size_t to = from + below(other.size() - from + 1);
                input.insert(place, other.begin() + static_cast<std::ptrdiff_t>(from),
                             other.begin() + static_cast<std::ptrdiff_t>(to));
                break;
            }
            default: {  // the same once more
                const Bytes piece(place, place + static_cast<std::ptrdiff_t>(
                                                     std::min(rest, std::size_t{1} + below(16))));
                input.insert(input.begin() + static_cast<std::ptrdiff_t>(below(input.size() + 1)),
                             piece.begin(), piece.end());
                break;
            }
        }
    }

    static constexpr std::array<std::uint8_t, 10> kOdd = {0,    1,   0x7F, 0x80, 0xFE,
                                                          0xFF, '"', '{',  '\n', ','};
    const std::vector<Bytes> corpus_;
    std::mt19937_64 random_;
};

std::vector<Bytes> readCorpus(const char* directory) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());  // the same order everywhere
    std::vector<Bytes> corpus = {{}};
    for (const auto& file : files) {
        std::ifstream in(file, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return corpus;
}

/// Keeps the input that is being tried where a crash leaves it.
class Keeper {
  public:
    Keeper() {
        if (const char* file = std::getenv("LV_FUZZ_KEEP"); file != nullptr) {
            descriptor_ = open(file, O_CREAT | O_RDWR | O_TRUNC | O_CLOEXEC, 0644);
        }
    }
    void keep(const Bytes& input) const {
        if (descriptor_ >= 0 && (ftruncate(descriptor_, 0) != 0 ||
                                 pwrite(descriptor_, input.data(), input.size(), 0) < 0)) {
            std::abort();
        }
    }

  private:
    int descriptor_ = -1;
};

/// In a block of its own size, so that whoever looks behind it is seen.
void run(const Bytes& input, const Keeper& keeper) {
    keeper.keep(input);
    const Bytes exact(input);
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        std::fputs("usage: <target> <directory of the corpus> <inputs> [seed]\n", stderr);
        return 2;
    }
    const std::uint64_t count = std::strtoull(argv[2], nullptr, 10);
    const std::uint64_t seed = argc == 4 ? std::strtoull(argv[3], nullptr, 10) : 1;
    std::vector<Bytes> corpus = readCorpus(argv[1]);
    if (corpus.size() < 2) {
        std::fputs("the corpus is empty\n", stderr);
        return 2;
    }
    // What targets log is not looked at, unless LV_FUZZ_LOG is set.
    FILE* const report = fdopen(dup(STDERR_FILENO), "w");
    if (report == nullptr || (std::getenv("LV_FUZZ_LOG") == nullptr &&
                              (std::freopen("/dev/null", "w", stdout) == nullptr ||
                               std::freopen("/dev/null", "w", stderr) == nullptr))) {
        return 2;
    }
    const auto begin = std::chrono::steady_clock::now();
    const Keeper keeper;
    for (const Bytes& input : corpus) {
        run(input, keeper);
    }
    const std::size_t kept = corpus.size();
    Mutator mutator(std::move(corpus), seed);
    for (std::uint64_t i = 0; i < count; ++i) {
        run(mutator.next(), keeper);
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::fprintf(report, "%zu kept inputs and %llu made of them with seed %llu, %.1f s\n", kept,
                 static_cast<unsigned long long>(count), static_cast<unsigned long long>(seed),
                 taken.count());
    std::fclose(report);
    _exit(0);  // threads of libraries may still run
}
