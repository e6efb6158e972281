#include "desk/first_connection.h"

#include <poll.h>

#include <csignal>

#include "base/log.h"
#include "desk/loop/agenda.h"

namespace desk {

namespace {

constexpr int kRetryMilliseconds = 200;

/// Waits a moment; whether a signal asked to end. Signals that would make the logger tell its
/// clients something are forgotten: there are no clients yet.
bool askedToEnd(PosixSignals& signals) {
    pollfd waiting{signals.fd(), POLLIN, 0};
    poll(&waiting, 1, kRetryMilliseconds);
    while (const auto number = signals.next()) {
        if (*number == SIGINT || *number == SIGTERM) {
            return true;
        }
    }
    return false;
}

}  // namespace

FirstConnection connectToBus(const std::string& name, const std::string& mac,
                             const BusAddress& address, PosixSignals& signals) {
    KRPBusOptions options;
    options.mac = mac;
    const auto giveUpAt = Clock::now() + address.patience;
    auto client = std::make_unique<KRPBusClient>(name, address.host, address.port, options);
    if (!client->isConnected()) {
        LogUtil::log(LogLevel::Info, "connectToBus",
                     "waiting for the bus server at " + address.describe());
    }
    while (!client->isConnected()) {
        if (askedToEnd(signals)) {
            return {nullptr, kExitOk};
        }
        if (Clock::now() >= giveUpAt) {
            LogUtil::log(LogLevel::Error, "connectToBus",
                         "there is no bus server at " + address.describe() +
                             "; start one (nats-server), or name another with --bus");
            return {nullptr, kExitNoBus};
        }
        client->connectToServer();
    }
    return {std::move(client), kExitOk};
}

}  // namespace desk
