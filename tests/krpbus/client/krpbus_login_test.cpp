// Bus servers that stand still in a login.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/kit/log_capture.h"
#include "tests/kit/patient_connect.h"
#include "tests/krpbus/client/bus_test_client.h"
#include "tests/krpbus/client/scripted_bus.h"

namespace {

using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

class KrpBusLogin : public ScriptedBus {};

// Two seconds, and what a machine takes that has other things to do. Without a limit a login would
// take for ever.
constexpr auto kLongestLogin = 30s;

struct StandStill {
    const char* where;
    ScriptedServer::Script script;
};

void sayInfo(ServedClient& client, std::size_t bytes = std::string::npos) {
    client.send(client.info().substr(0, bytes));
}

void answerLogin(ServedClient& client, const std::string& answer) {
    sayInfo(client);
    if (client.secure() && client.takeLogin()) {
        client.send(answer);
    }
}

const std::vector<StandStill>& places() {
    static const std::vector<StandStill> all{
        {"before INFO", [](int, ServedClient&) {}},
        {"at the beginning of INFO", [](int, ServedClient& client) { sayInfo(client, 2); }},
        {"inside INFO", [](int, ServedClient& client) { sayInfo(client, 40); }},
        {"before the line end of INFO",
         [](int, ServedClient& client) { sayInfo(client, client.info().size() - 1); }},
        {"after INFO", [](int, ServedClient& client) { sayInfo(client); }},
        {"before PONG", [](int, ServedClient& client) { answerLogin(client, ""); }},
        {"inside PONG", [](int, ServedClient& client) { answerLogin(client, "PO"); }},
        {"before the line end of PONG",
         [](int, ServedClient& client) { answerLogin(client, "PONG\r"); }},
        {"inside +OK", [](int, ServedClient& client) { answerLogin(client, "+O"); }},
        {"after +OK", [](int, ServedClient& client) { answerLogin(client, "+OK\r\n"); }},
        {"inside -ERR", [](int, ServedClient& client) { answerLogin(client, "-ERR 'Auth"); }},
    };
    return all;
}

// The server stands still so in one login, and is as usual in all others.
ScriptedServer::Script inLogin(int which, const ScriptedServer::Script& still) {
    return [which, still](int number, ServedClient& client) {
        if (number == which) {
            still(number, client);
            client.standStill();
        } else {
            client.greet();
            client.stayAlive();
        }
    };
}

TEST_P(KrpBusLogin, TakesTwoSecondsAtMostWhereverTheServerStandsStill) {
    for (const StandStill& place : places()) {
        const LogCapture log;
        const auto server = serve(inLogin(0, place.script));
        const auto begin = Clock::now();
        const auto client = clientOf(server);
        EXPECT_LT(Clock::now() - begin, kLongestLogin) << place.where;
        EXPECT_FALSE(client->isConnected()) << place.where;
        EXPECT_TRUE(connectPatiently(*client)) << place.where;
    }
}

INSTANTIATE_TEST_SUITE_P(PlainAndTls, KrpBusLogin, testing::Bool(), plainOrTls);

}  // namespace
