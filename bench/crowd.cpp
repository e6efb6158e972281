// crowd <product|gateway> <bus port> <websocket port> <clients> <seconds>
// [<name>=[children:]<process id>[,...]...] Connects so many clients, each with the same signals,
// and prints as one JSON object what arrives, how late, and what the processes take for it. Started
// by crowd.mjs, which starts the servers.
#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "bench/crowd_clients.h"
#include "bench/process_usage.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::size_t kConnectingAtOnce = 8;
constexpr auto kPatience = 90s;  // until all clients get what they want
constexpr auto kWarmUp = 2s;
constexpr auto kCatchUp = 50ms;

struct Arguments {
    bool product = false;
    std::uint16_t busPort = 0;
    std::uint16_t webSocketPort = 0;
    std::size_t clients = 0;
    std::chrono::seconds length{0};
    std::vector<std::pair<std::string, std::string>> groups;  // name, processes
};

/// The clients and what arrived at them.
class Crowd {
  public:
    explicit Crowd(const Arguments& arguments)
        : arguments_(arguments), epoll_(epoll_create1(EPOLL_CLOEXEC)), values_(arguments.clients) {}

    /// Connects the clients a few at a time, the others being served meanwhile.
    void connect() {
        const auto deadline = Clock::now() + kPatience;
        std::size_t ready = 0;
        while (ready < arguments_.clients) {
            while (clients_.size() < std::min(arguments_.clients, ready + kConnectingAtOnce)) {
                add();
            }
            serve(20ms);
            ready = 0;
            for (const auto& client : clients_) {
                client->goOn();
                ready += client->isReady() ? 1 : 0;
            }
            if (Clock::now() > deadline) {
                throw std::runtime_error("only " + std::to_string(ready) + " clients are served");
            }
        }
    }

    void serveFor(Clock::duration length) {
        const auto end = Clock::now() + length;
        while (Clock::now() < end) {
            serve(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()));
        }
    }

    /// Forgets what has arrived so far.
    void begin() {
        std::fill(values_.begin(), values_.end(), 0);
        latencies_.clear();
    }
    const std::vector<std::uint64_t>& values() const { return values_; }
    /// Milliseconds.
    std::vector<double>& latencies() { return latencies_; }

  private:
    void add() {
        const std::size_t number = clients_.size();
        clients_.push_back(arguments_.product
                               ? makeBrowser(arguments_.webSocketPort)
                               : makeGatewayClient(arguments_.webSocketPort, number));
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = number;
        if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, clients_.back()->descriptor(), &event) != 0) {
            throw std::runtime_error("no descriptor left");
        }
    }

    void serve(std::chrono::milliseconds longest) {
        std::array<epoll_event, 64> events{};
        const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()),
                                     static_cast<int>(longest.count()));
        for (int i = 0; i < count; ++i) {
            const auto number =
                static_cast<std::size_t>(events[static_cast<std::size_t>(i)].data.u64);
            const bool alive = clients_[number]->read([&](std::uint64_t time) {
                ++values_[number];
                latencies_.push_back(
                    1e-3 * (static_cast<double>(timeOfDay()) - static_cast<double>(time)));
            });
            if (!alive) {
                throw std::runtime_error("the connection of client " + std::to_string(number) +
                                         " has ended");
            }
        }
    }

    const Arguments& arguments_;
    base::FileDescriptor epoll_;
    std::vector<std::unique_ptr<CrowdClient>> clients_;
    std::vector<std::uint64_t> values_;
    std::vector<double> latencies_;
};

template <class Value>
double percentile(std::vector<Value>& values, double part) {
    if (values.empty()) {
        return 0;
    }
    const auto at = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return static_cast<double>(values[static_cast<std::size_t>(at)]);
}

/// One group of processes over the time of the measurement.
class Group {
  public:
    Group(std::string name, const std::string& processes)
        : name_(std::move(name)),
          processes_(processesOf(processes)),
          before_(usageOf(processes_)) {}

    /// The group's member of the JSON object.
    std::string end() {
        std::string threads;
        for (const auto& [thread, usage] : usageOf(processes_)) {
            const auto before = before_.find(thread);
            const Usage had = before == before_.end() ? Usage() : before->second;
            if (usage.switches == had.switches) {
                continue;
            }
            seconds_ += usage.seconds - had.seconds;
            threads += (threads.empty() ? "" : ", ") + ("\"" + thread + "\": {\"seconds\": ") +
                       std::to_string(usage.seconds - had.seconds) +
                       ", \"switches\": " + std::to_string(usage.switches - had.switches) + "}";
        }
        return "\"" + name_ + "\": {\"memory\": " + std::to_string(proportionalMemory(processes_)) +
               ", \"threads\": {" + threads + "}}";
    }

    /// Processor time of all its threads, once end() has been called.
    double seconds() const { return seconds_; }

  private:
    const std::string name_;
    const std::vector<pid_t> processes_;
    const UsageByThread before_;
    double seconds_ = 0;
};

void measure(const Arguments& arguments) {
    Crowd crowd(arguments);
    crowd.connect();
    std::unique_ptr<GatewayLoggers> loggers;
    if (!arguments.product) {
        loggers = startGatewayLoggers(arguments.busPort, arguments.clients);
    }
    crowd.serveFor(kWarmUp);
    const MachineLoad machine;
    std::vector<Group> groups;
    for (const auto& [name, processes] : arguments.groups) {
        groups.emplace_back(name, processes);
    }
    // Reading all that took its time: what has come meanwhile is not late on our servers' account.
    crowd.serveFor(kCatchUp);
    crowd.begin();
    const auto begin = Clock::now();
    crowd.serveFor(arguments.length);
    const double length = std::chrono::duration<double>(Clock::now() - begin).count();
    std::string parts;
    double measured = 0;
    for (Group& group : groups) {
        parts += (parts.empty() ? "" : ", ") + group.end();
        measured += group.seconds();
    }
    const MachineLoad::Cores beside = machine.since(measured);
    std::vector<std::uint64_t> values = crowd.values();
    std::printf(
        "{\"seconds\": %.3f, \"values\": %zu, \"median\": %.2f, \"p99\": %.2f, "
        "\"slowest\": %llu, \"usual\": %.0f, \"stolen\": %.3f, \"others\": %.3f, \"parts\": "
        "{%s}}\n",
        length, crowd.latencies().size(), percentile(crowd.latencies(), 0.5),
        percentile(crowd.latencies(), 0.99),
        static_cast<unsigned long long>(*std::min_element(values.begin(), values.end())),
        percentile(values, 0.5), beside.stolen, beside.others, parts.c_str());
}

Arguments readArguments(const std::vector<std::string>& words) {
    if (words.size() < 5) {
        throw std::invalid_argument("is started by crowd.mjs");
    }
    Arguments arguments{words[0] == "product",
                        static_cast<std::uint16_t>(std::stoi(words[1])),
                        static_cast<std::uint16_t>(std::stoi(words[2])),
                        static_cast<std::size_t>(std::stoul(words[3])),
                        std::chrono::seconds(std::stoi(words[4])),
                        {}};
    for (std::size_t i = 5; i < words.size(); ++i) {
        const std::size_t equals = words[i].find('=');
        arguments.groups.emplace_back(words[i].substr(0, equals), words[i].substr(equals + 1));
    }
    return arguments;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        measure(readArguments({argv + 1, argv + argc}));
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "crowd: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
