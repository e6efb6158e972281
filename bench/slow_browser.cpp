// slow_browser <bus port> <websocket port> <MAC> <seconds> <values a second>
// Sends values to one browser that takes a third of them, and prints how old they are when it takes
// them. Started by slow_browser.mjs, which starts the servers.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "bench/value_route.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Taken {
    double at;   // seconds since the first was sent
    double age;  // seconds
};

double seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

/// Value `number`, from 1, is sent at its time.
Clock::duration timeOf(std::uint64_t number, double perSecond) {
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(static_cast<double>(number) / perSecond));
}

void send(ValueRoute& route, Clock::time_point begin, double perSecond, std::uint64_t count) {
    for (std::uint64_t number = 1; number <= count; ++number) {
        std::this_thread::sleep_until(begin + timeOf(number, perSecond));
        route.publish(number);
        route.flush();
    }
}

/// Takes a third of what is sent for so long.
std::vector<Taken> take(ValueRoute& route, Clock::time_point begin, double perSecond,
                        double length) {
    std::vector<Taken> taken;
    while (seconds(Clock::now() - begin) < length) {
        const auto onValue = [&](std::uint64_t number) {
            std::this_thread::sleep_until(begin + timeOf(3 * taken.size(), perSecond));
            const auto now = Clock::now();
            taken.push_back(
                {seconds(now - begin), seconds(now - begin - timeOf(number, perSecond))});
        };
        if (!route.receive(20, onValue)) {
            std::printf("  the connection has ended\n");
            break;
        }
    }
    return taken;
}

/// The ages in each quarter of the time: whether they grow.
void show(const std::vector<Taken>& taken, double length) {
    for (int quarter = 0; quarter < 4; ++quarter) {
        std::vector<double> ages;
        for (const Taken& value : taken) {
            if (static_cast<int>(4 * value.at / length) == quarter) {
                ages.push_back(value.age);
            }
        }
        if (ages.empty()) {
            std::printf("  %5.1f s to %5.1f s: no value\n", quarter * length / 4,
                        (quarter + 1) * length / 4);
            continue;
        }
        std::sort(ages.begin(), ages.end());
        std::printf("  %5.1f s to %5.1f s: %7zu values, age median %.2f s, oldest %.2f s\n",
                    quarter * length / 4, (quarter + 1) * length / 4, ages.size(),
                    ages[ages.size() / 2], ages.back());
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "slow_browser is started by slow_browser.mjs\n");
        return EXIT_FAILURE;
    }
    try {
        const double length = std::stod(argv[4]);
        const double perSecond = std::stod(argv[5]);
        const auto route = makeProductRoute({static_cast<std::uint16_t>(std::stoi(argv[1])),
                                             static_cast<std::uint16_t>(std::stoi(argv[2])),
                                             argv[3], kSmallReads});
        const auto begin = Clock::now();
        std::thread sender([&] {
            send(*route, begin, perSecond, static_cast<std::uint64_t>(length * perSecond));
        });
        const std::vector<Taken> taken = take(*route, begin, perSecond, length);
        sender.join();
        std::printf("%.0f values/s are sent, the browser takes %.0f/s:\n", perSecond,
                    perSecond / 3);
        show(taken, length);
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "slow_browser: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
