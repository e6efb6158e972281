// Waits until a browser that came now would get complete information about a number of loggers.
//
//   live_view_probe <web port> <loggers> <seconds> [certificate]
//
// With the file of its certificate a server is spoken to over TLS. LIVE_VIEW_PROBE_LOGIN is the
// "name:password" for one that asks for it; no list of processes shows it there.
//
// Answers 0 then, and 1 with the last thing that went wrong when that takes longer.

#include "packaging/probe/websocket_client.h"

#include <rapidjson/document.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kPause = 200ms;   // between two tries
constexpr auto kPatience = 10s;  // with one connection

bool isLoggerInfo(const rapidjson::Document& answer) {
    return answer.IsObject() && answer.HasMember("response") &&
           answer["response"] == "get_logger_info" && answer.HasMember("status") &&
           answer.HasMember("configs") && answer["configs"].IsArray();
}

/// One browser's beginning: connect, ask for the logger info, look whether every logger is in it.
void tryOnce(std::uint16_t port, unsigned loggers, const WebSocketAccess& access) {
    WebSocketClient client(port, "/live", "kr-webapp-v1", Clock::now() + kPatience, access);
    client.send(R"({"command":"get_logger_info"})");
    rapidjson::Document answer;
    while (!isLoggerInfo(answer)) {  // the list of the neighbours comes first
        answer.Parse(client.receive());
    }
    if (answer["configs"].Size() != loggers || answer["status"] != "OK") {
        throw std::runtime_error(std::to_string(answer["configs"].Size()) + " of " +
                                 std::to_string(loggers) + " loggers have answered");
    }
}

unsigned long number(const char* text, unsigned long most) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(text, &end, 10);
    if (*text == '\0' || *end != '\0' || value == 0 || value > most) {
        throw std::runtime_error("not a number from 1 to " + std::to_string(most) + ": " + text);
    }
    return value;
}

int waitUntilReady(std::uint16_t port, unsigned loggers, Clock::time_point deadline,
                   const WebSocketAccess& access) {
    while (true) {
        try {
            tryOnce(port, loggers, access);
            return 0;
        } catch (const std::runtime_error& error) {
            if (Clock::now() + kPause > deadline) {
                std::cerr << error.what() << "\n";
                return 1;
            }
        }
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // what is written below TLS may meet an end
    try {
        if (argc != 4 && argc != 5) {
            throw std::runtime_error(
                "usage: live_view_probe <web port> <loggers> <seconds> [certificate]");
        }
        const auto port = static_cast<std::uint16_t>(number(argv[1], 65535));
        const auto loggers = static_cast<unsigned>(number(argv[2], 1000));
        const std::chrono::seconds patience(static_cast<long>(number(argv[3], 86400)));
        const char* login = std::getenv("LIVE_VIEW_PROBE_LOGIN");
        const WebSocketAccess access{argc == 5 ? argv[4] : "", login != nullptr ? login : ""};
        return waitUntilReady(port, loggers, Clock::now() + patience, access);
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 2;
    }
}
