// What a browser costs and how fast it is served, through the real web server:
//
//   browser_bench <web port> <loggers> <process id of the web server>
//
// The server has the plug-in at /live and the echo plug-in at /echo; browser_bench.sh starts all of
// it. Times are medians of what one client sees on the loopback interface.

#include <dirent.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "packaging/probe/websocket_client.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kRoundTrips = 2000;
constexpr int kBrowsers = 10;
constexpr auto kIdle = 10s;
constexpr auto kPatience = 120s;

double microseconds(Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

double percentile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

std::unique_ptr<WebSocketClient> connectTo(std::uint16_t port, const char* path) {
    return std::make_unique<WebSocketClient>(port, path, "kr-webapp-v1", Clock::now() + kPatience);
}

double roundTrip(WebSocketClient& client, const std::string& text) {
    const auto start = Clock::now();
    client.send(text);
    client.receive();
    return microseconds(Clock::now() - start);
}

/// The two take turns, so that whatever else the machine does meets both alike. The echo sends as
/// many bytes back as a ping's answer has.
void comparePingWithEcho(std::uint16_t port) {
    const auto live = connectTo(port, "/live");
    const auto echo = connectTo(port, "/echo");
    const std::string ping = R"({"command": "ping"})";
    const std::string answer = "{\n    \"response\": \"ping\",\n    \"status\": \"OK\"\n}";
    std::vector<double> pings;
    std::vector<double> echoes;
    for (int i = 0; i < kRoundTrips; ++i) {
        pings.push_back(roundTrip(*live, ping));
        echoes.push_back(roundTrip(*echo, answer));
    }
    std::cout << "ping through Apache: median " << percentile(pings, 0.5) << " us, 99 % "
              << percentile(pings, 0.99) << " us; echo plug-in: median " << percentile(echoes, 0.5)
              << " us, 99 % " << percentile(echoes, 0.99) << " us; ratio of the medians "
              << std::setprecision(3) << percentile(pings, 0.5) / percentile(echoes, 0.5)
              << std::setprecision(6) << "\n";
}

/// As a page does it: ask until the information about every logger is there.
void waitUntilReady(WebSocketClient& client, unsigned loggers) {
    while (true) {
        client.send(R"({"command": "get_logger_info"})");
        while (true) {
            rapidjson::Document answer;
            answer.Parse(client.receive().c_str());
            if (std::string(answer["response"].GetString()) != "get_logger_info") {
                continue;
            }
            if (answer["configs"].Size() == loggers &&
                std::string(answer["status"].GetString()) == "OK") {
                return;
            }
            break;
        }
    }
}

std::vector<int> childrenOf(int parent) {
    std::vector<int> children;
    const std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), &::closedir);
    while (const dirent* entry = ::readdir(proc.get())) {
        const int pid = std::atoi(entry->d_name);
        std::ifstream status("/proc/" + std::string(entry->d_name) + "/status");
        std::string word;
        int value = 0;
        while (pid > 0 && status >> word) {
            if (word == "PPid:" && status >> value && value == parent) {
                children.push_back(pid);
            }
        }
    }
    return children;
}

/// A number of a child's /proc file, behind its name; 0 when it is not there.
long numberOf(int pid, const std::string& file, const std::string& name) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/" + file);
    std::string word;
    while (in >> word) {
        if (word == name) {
            long value = 0;
            in >> value;
            return value;
        }
    }
    return 0;
}

/// The processes that hold a session: those that run more than one thread.
std::vector<int> sessions(int server) {
    std::vector<int> found;
    for (const int pid : childrenOf(server)) {
        if (numberOf(pid, "status", "Threads:") > 1) {
            found.push_back(pid);
        }
    }
    return found;
}

double privateMegabytes(int pid) {
    return static_cast<double>(numberOf(pid, "smaps_rollup", "Private_Clean:") +
                               numberOf(pid, "smaps_rollup", "Private_Dirty:")) /
           1024.0;
}

double processorSeconds(int pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), {});
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    double ticks = 0;
    for (int i = 3; fields >> field && i <= 15; ++i) {
        if (i == 14 || i == 15) {
            ticks += std::stod(field);
        }
    }
    return ticks / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

void measureBrowsers(std::uint16_t port, unsigned loggers, int server) {
    std::vector<std::unique_ptr<WebSocketClient>> browsers;
    std::vector<double> times;
    for (int i = 0; i < kBrowsers; ++i) {
        const auto start = Clock::now();
        browsers.push_back(connectTo(port, "/live"));
        waitUntilReady(*browsers.back(), loggers);
        times.push_back(microseconds(Clock::now() - start) / 1000.0);
    }
    std::cout << "from connecting to complete logger info of " << loggers << " loggers: median "
              << percentile(times, 0.5) << " ms, longest " << percentile(times, 1.0) << " ms of "
              << kBrowsers << "\n";

    const std::vector<int> pids = sessions(server);
    if (pids.size() != browsers.size()) {
        throw std::runtime_error(std::to_string(pids.size()) + " sessions for " +
                                 std::to_string(browsers.size()) + " browsers");
    }
    std::vector<double> memory;
    std::vector<double> used;
    for (const int pid : pids) {
        memory.push_back(privateMegabytes(pid));
        used.push_back(processorSeconds(pid));
    }
    const auto start = Clock::now();
    std::this_thread::sleep_for(kIdle);
    const double elapsed = microseconds(Clock::now() - start) / 1e6;
    for (std::size_t i = 0; i < pids.size(); ++i) {
        used[i] = (processorSeconds(pids[i]) - used[i]) / elapsed * 100.0;
    }
    std::cout << "private memory of a browser's process: median " << percentile(memory, 0.5)
              << " MiB, largest " << percentile(memory, 1.0) << " MiB\n"
              << "processor time of an idle browser: median " << percentile(used, 0.5)
              << " % of one core, largest " << percentile(used, 1.0) << " %\n";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: browser_bench <web port> <loggers> <process id of the web server>\n";
        return 2;
    }
    try {
        const auto port = static_cast<std::uint16_t>(std::stoul(argv[1]));
        const auto loggers = static_cast<unsigned>(std::stoul(argv[2]));
        comparePingWithEcho(port);
        measureBrowsers(port, loggers, std::stoi(argv[3]));
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
    return 0;
}
