// live_values <product|gateway|mqtt> <bus port> <websocket port> <MAC> [[children:]<process id>...]
// Sends values to one browser, flat out and at 10 000 a second, and prints the figures as one JSON
// object. Started by live_values.mjs, which starts the servers.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <thread>
#include <vector>

#include "bench/process_usage.h"
#include "bench/value_route.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::uint64_t kFlatOut = 600000;
constexpr std::uint64_t kWarmUp = 50000;
constexpr std::uint64_t kPerSecond = 10000;
constexpr std::uint64_t kPaced = 5 * kPerSecond;
constexpr std::uint64_t kWindow = 4000;  // values that may be on their way flat out
constexpr auto kGiveUp = 20s;            // without a value

double seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

/// Processor time in seconds that processes have taken.
double processorTime(const std::string& processes) {
    double time = 0;
    for (const auto& [thread, usage] : usageOf(processesOf(processes))) {
        time += usage.seconds;
    }
    return time;
}

/// What arrives, on a thread of its own.
class Receiver {
  public:
    explicit Receiver(ValueRoute& route)
        : arrived_(kPaced + 1), thread_([this, &route] { run(route); }) {}
    ~Receiver() {
        stop_ = true;
        thread_.join();
    }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    std::uint64_t received() const { return received_.load(std::memory_order_relaxed); }
    bool inOrder() const { return inOrder_; }
    bool ended() const { return ended_; }
    /// Until so many have arrived; false when no more come.
    bool waitFor(std::uint64_t count) const {
        std::uint64_t last = 0;
        auto lastChange = Clock::now();
        while (received() < count && !ended_) {
            std::this_thread::sleep_for(50us);
            if (received() != last) {
                last = received();
                lastChange = Clock::now();
            } else if (Clock::now() - lastChange > kGiveUp) {
                return false;
            }
        }
        return received() >= count;
    }
    /// From now on the times of arrival are kept, of the numbers from `first` on.
    void keepTimes(std::uint64_t first) { first_ = first; }
    const std::vector<Clock::time_point>& arrived() const { return arrived_; }

  private:
    void run(ValueRoute& route) {
        std::uint64_t last = 0;
        while (!stop_) {
            ended_ = !route.receive(20, [&](std::uint64_t number) {
                inOrder_ = inOrder_ && number == last + 1;
                last = number;
                const std::uint64_t first = first_;
                if (first != 0 && number >= first && number - first < arrived_.size()) {
                    arrived_[static_cast<std::size_t>(number - first)] = Clock::now();
                }
                received_.fetch_add(1);
            });
            if (ended_) {
                return;
            }
        }
    }

    std::vector<Clock::time_point> arrived_;
    std::atomic<std::uint64_t> received_{0};
    std::atomic<std::uint64_t> first_{0};
    std::atomic<bool> inOrder_{true};
    std::atomic<bool> ended_{false};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

/// Sends the values up to `last`, each as soon as the window allows.
bool sendFlatOut(ValueRoute& route, const Receiver& receiver, std::uint64_t from,
                 std::uint64_t last) {
    for (std::uint64_t number = from; number <= last; ++number) {
        if (number - receiver.received() > kWindow) {
            route.flush();
            if (!receiver.waitFor(number - kWindow / 2)) {
                return false;
            }
        }
        route.publish(number);
    }
    route.flush();
    return receiver.waitFor(last);
}

/// Sends kPaced values at their times; gives those times.
std::vector<Clock::time_point> sendPaced(ValueRoute& route, std::uint64_t first) {
    std::vector<Clock::time_point> sent(kPaced);
    const auto begin = Clock::now();
    for (std::size_t i = 0; i < kPaced; ++i) {
        std::this_thread::sleep_until(begin + i * (1000000us / kPerSecond));
        sent[i] = Clock::now();
        route.publish(first + i);
        route.flush();
    }
    return sent;
}

std::vector<double> latencies(const std::vector<Clock::time_point>& sent,
                              const std::vector<Clock::time_point>& arrived) {
    std::vector<double> microseconds;
    for (std::size_t i = 0; i < sent.size(); ++i) {
        if (arrived[i] != Clock::time_point()) {
            microseconds.push_back(1e6 * seconds(arrived[i] - sent[i]));
        }
    }
    std::sort(microseconds.begin(), microseconds.end());
    return microseconds;
}

double percentile(const std::vector<double>& sorted, double part) {
    return sorted.empty()
               ? 0.0
               : sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

double processorTime(const std::vector<std::string>& processes) {
    double time = 0;
    for (const std::string& process : processes) {
        time += processorTime(process);
    }
    return time;
}

int measure(ValueRoute& route, const std::vector<std::string>& processes) {
    Receiver receiver(route);
    if (!sendFlatOut(route, receiver, 1, kWarmUp)) {
        std::fprintf(stderr, "only %llu values arrived\n",
                     static_cast<unsigned long long>(receiver.received()));
        return EXIT_FAILURE;
    }
    std::vector<double> processorBefore;
    for (const std::string& process : processes) {
        processorBefore.push_back(processorTime(process));
    }
    const auto begin = Clock::now();
    const bool complete = sendFlatOut(route, receiver, kWarmUp + 1, kWarmUp + kFlatOut);
    const double flatOut = seconds(Clock::now() - begin);
    std::string perMillion;
    for (std::size_t i = 0; i < processes.size(); ++i) {
        const double spent = processorTime(processes[i]) - processorBefore[i];
        perMillion += (i == 0 ? "" : ", ") + std::to_string(spent * 1e6 / kFlatOut);
    }
    const std::uint64_t before = receiver.received();
    const std::uint64_t first = kWarmUp + kFlatOut + 1;
    receiver.keepTimes(first);
    const MachineLoad machine;
    const double processorAtFirst = processorTime(processes);
    const auto sent = sendPaced(route, first);
    receiver.waitFor(before + kPaced);
    const auto beside = machine.since(processorTime(processes) - processorAtFirst);
    const auto sorted = latencies(sent, receiver.arrived());
    std::printf(
        "{\"valuesPerSecond\": %.0f, \"complete\": %s, \"inOrder\": %s, \"lost\": %lld, "
        "\"median\": %.0f, \"p99\": %.0f, \"stolen\": %.3f, \"others\": %.3f, "
        "\"processorPerMillion\": [%s]}\n",
        kFlatOut / flatOut, complete ? "true" : "false", receiver.inOrder() ? "true" : "false",
        static_cast<long long>(before + kPaced) - static_cast<long long>(receiver.received()),
        percentile(sorted, 0.5), percentile(sorted, 0.99), beside.stolen, beside.others,
        perMillion.c_str());
    return EXIT_SUCCESS;
}

std::unique_ptr<ValueRoute> makeRoute(const std::string& kind, const RouteOptions& options) {
    if (kind == "product") {
        return makeProductRoute(options);
    }
    return kind == "gateway" ? makeGatewayRoute(options) : makeMqttRoute(options);
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() < 4) {
        std::fprintf(stderr, "live_values is started by live_values.mjs\n");
        return EXIT_FAILURE;
    }
    try {
        const RouteOptions options{static_cast<std::uint16_t>(std::stoi(arguments[1])),
                                   static_cast<std::uint16_t>(std::stoi(arguments[2])),
                                   arguments[3]};
        const auto route = makeRoute(arguments[0], options);
        return measure(*route, {arguments.begin() + 4, arguments.end()});
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "live_values: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
