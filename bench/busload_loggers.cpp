// busload_loggers <bus port> <buses> <loads per second and bus> <seconds>
// Four loggers that answer what a browser asks and, once it has started bus load, send it loads of
// all their buses, none equal to the one before. Prints how many were sent. Started by
// busload_scale.mjs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "tests/kit/bus_loggers.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLoggers = 4;

std::string mac(int logger) {
    return "02:00:00:00:00:0" + std::to_string(logger + 1);
}

std::unique_ptr<BusLogger> makeLogger(int number, int buses, unsigned short port) {
    LoggerFacts facts;
    facts.loggerName = "Logger " + std::to_string(number + 1);
    for (int other = 0; other < kLoggers; ++other) {
        if (other != number) {
            facts.neighbours.push_back(mac(other));
        }
    }
    auto names = std::make_unique<KRPResponseGetBusNames>();
    for (int bus = 0; bus < buses; ++bus) {
        names->busNames.push_back({BUSID_CAN, static_cast<unsigned char>(bus),
                                   static_cast<unsigned char>(number * 50),
                                   "CAN bus " + std::to_string(bus + 1)});
    }
    auto logger = std::make_unique<BusLogger>(mac(number), facts, port);
    logger->addAnswer(std::move(names));
    return logger;
}

/// The client that has started bus load, as this logger addresses it; empty before that.
std::string clientOf(const BusLogger& logger) {
    static const std::string kFrom = "HandheldServer from ";
    for (const std::string& line : logger.received()) {
        if (line.starts_with(kFrom) && line.find("75-LVStartBusload") != std::string::npos) {
            return line.substr(kFrom.size(), line.find(": ") - kFrom.size());
        }
    }
    return {};
}

void sendLoads(BusLogger& logger, const std::string& client, int number, int buses, int value) {
    BusLoadExtMessage message;
    message.busId = BUSID_CAN;
    message.kslOffset = static_cast<std::uint8_t>(number * 50);
    message.unit = BusLoadExtMessage::UNIT_FRAMES_SEC;
    message.timestamp = 1;
    message.value = value;
    for (int bus = 0; bus < buses; ++bus) {
        message.channel = static_cast<std::uint8_t>(bus);
        logger.client().sendTo("HandheldServer", client, message.clone());
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "busload_loggers <bus port> <buses> <loads per second> <seconds>\n");
        return EXIT_FAILURE;
    }
    const auto port = static_cast<unsigned short>(std::atoi(argv[1]));
    const int buses = std::atoi(argv[2]);
    const int perSecond = std::atoi(argv[3]);
    const int rounds = perSecond * std::atoi(argv[4]);
    std::vector<std::unique_ptr<BusLogger>> loggers;
    for (int number = 0; number < kLoggers; ++number) {
        loggers.push_back(makeLogger(number, buses, port));
    }
    std::puts("ready");
    std::fflush(stdout);
    std::vector<std::string> clients;
    for (const auto& logger : loggers) {
        if (!logger->waitForReceived("75-LVStartBusload")) {
            std::fprintf(stderr, "nobody has started bus load\n");
            return EXIT_FAILURE;
        }
        clients.push_back(clientOf(*logger));
    }
    // The browser shows every bus before loads of it count.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const auto start = Clock::now();
    for (int round = 0; round < rounds; ++round) {
        std::this_thread::sleep_until(start +
                                      round * std::chrono::microseconds(1000000 / perSecond));
        for (int number = 0; number < kLoggers; ++number) {
            const auto place = static_cast<std::size_t>(number);
            sendLoads(*loggers[place], clients[place], number, buses, round + 1);
        }
    }
    const double taken = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("sent %d in %.2f s\n", rounds * kLoggers * buses, taken);
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::seconds(3));
    return EXIT_SUCCESS;
}
