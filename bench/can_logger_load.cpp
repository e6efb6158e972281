// can_logger_load <desklogger> [<buses>] [<seconds>]
// A desk logger on fully loaded CAN buses: 4000 frames a second and bus through a pipe, a database
// of 5000 signals, one client that has them all. Prints the processor time of the logger, the
// frames that it took, and the values that came.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "base/clock.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/nats_server.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr const char* kMac = "02:00:00:00:00:01";
constexpr int kMessages = 1000;  // with five signals each
constexpr int kFramesPerSecond = 4000;
constexpr auto kStep = 5ms;

std::string writeDatabase(const std::filesystem::path& directory) {
    const std::string file = directory / "bench.dbc";
    std::ofstream out(file);
    for (int id = 0; id < kMessages; ++id) {
        out << "BO_ " << id << " M" << id << ": 8 X\n";
        for (int signal = 0; signal < 5; ++signal) {
            out << " SG_ s" << signal << " : " << signal * 12 << "|12@1+ (0.1,-40) [0|0] \"\" X\n";
        }
    }
    return file;
}

std::string readAll(const std::string& file) {
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// The logger, its standard input at `input`, its output in a file.
pid_t start(const char* program, const std::string& server, const std::string& dbc,
            const std::string& log, int& input) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        std::exit(1);
    }
    const pid_t process = fork();
    if (process == 0) {
        dup2(ends[0], STDIN_FILENO);
        const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        execl(program, program, "--mac", kMac, "--source", "can:-", "--dbc", dbc.c_str(), "--bus",
              server.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(ends[0]);
    input = ends[1];
    return process;
}

/// All frames of one step, of all buses.
std::string framesOf(int step, int buses) {
    static constexpr int kPerStep = kFramesPerSecond / 200;
    std::string text;
    char line[80];
    const std::uint64_t now = getTimeOfDay();
    for (int bus = 0; bus < buses; ++bus) {
        for (int i = 0; i < kPerStep; ++i) {
            const int number = step * kPerStep + i;
            std::snprintf(line, sizeof line, "(%llu.%06llu) can%d %03X#%08X%08X\n",
                          static_cast<unsigned long long>(now / 1000000),
                          static_cast<unsigned long long>(now % 1000000), bus, number % kMessages,
                          static_cast<unsigned int>(number) * 2654435761U,
                          static_cast<unsigned int>(number) * 40503U);
            text += line;
        }
    }
    return text;
}

bool writeAll(int fd, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t size = write(fd, text.data() + done, text.size() - done);
        if (size <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(size);
    }
    return true;
}

std::size_t takeValues(KRPBusClient& client) {
    std::size_t values = 0;
    client.read();
    while (const auto message = client.getMessage()) {
        values += dynamic_cast<const SignalMessage*>(message.get()) != nullptr ? 1U : 0U;
    }
    return values;
}

double processorSeconds(pid_t process) {
    std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
    std::string word;
    long ticks = 0;
    for (int i = 1; i <= 15 && stat >> word; ++i) {
        ticks += i >= 14 ? std::atol(word.c_str()) : 0;
    }
    return static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: can_logger_load DESKLOGGER [BUSES] [SECONDS]\n");
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    const int buses = argc > 2 ? std::atoi(argv[2]) : 1;
    const int seconds = argc > 3 ? std::atoi(argv[3]) : 20;
    const auto directory =
        std::filesystem::temp_directory_path() / ("can_logger_load." + std::to_string(getpid()));
    std::filesystem::create_directories(directory);
    const std::string log = directory / "log";
    NatsServer server;
    const std::string address = "127.0.0.1:" + std::to_string(server.port());
    int input = -1;
    const pid_t process = start(argv[1], address, writeDatabase(directory), log, input);
    while (readAll(log).find(" ready") == std::string::npos) {
        std::this_thread::sleep_for(10ms);
    }
    KRPBusOptions options;
    options.mac = kMac;
    KRPBusClient client("17_KLV1", "127.0.0.1", server.port(), options);
    writeAll(input, framesOf(0, buses));
    std::this_thread::sleep_for(300ms);
    client.sendTo("17_KLV1", "HandheldServer", std::make_unique<SimpleMessageRequest<137>>());
    client.sendTo("17_KLV1", "HandheldServer",
                  std::make_unique<SystemMessage>(SystemMessage::SM_STATE, "77-LVStartSignals"));
    std::this_thread::sleep_for(1s);
    takeValues(client);
    const double before = processorSeconds(process);
    const auto begin = Clock::now();
    std::size_t values = 0;
    int steps = 1;
    auto longest = Clock::duration(0);
    for (; Clock::now() - begin < std::chrono::seconds(seconds); ++steps) {
        const auto write = Clock::now();
        writeAll(input, framesOf(steps, buses));
        longest = std::max(longest, Clock::now() - write);
        values += takeValues(client);
        std::this_thread::sleep_until(begin + steps * kStep);
    }
    const double passed = std::chrono::duration<double>(Clock::now() - begin).count();
    const double used = processorSeconds(process) - before;
    close(input);
    while (readAll(log).find("has ended after") == std::string::npos) {
        std::this_thread::sleep_for(10ms);
    }
    const std::string output = readAll(log);
    const std::size_t at = output.find("has ended after ") + 16;
    const long taken = std::atol(output.c_str() + at);
    const long sent = static_cast<long>(steps) * buses * (kFramesPerSecond / 200);
    std::printf(
        "%d buses, %.0f frames/s: %.1f %% of a core; frames sent %ld, taken %ld, lost %ld; "
        "%.0f values/s; longest write %.1f ms\n",
        buses, static_cast<double>(sent) / passed, used / passed * 100.0, sent, taken, sent - taken,
        static_cast<double>(values) / passed,
        std::chrono::duration<double, std::milli>(longest).count());
    kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
    std::filesystem::remove_all(directory);
    return sent == taken ? 0 : 1;
}
