#include "desk/tell.h"

#include <poll.h>

#include <array>
#include <csignal>
#include <memory>

#include "base/log.h"
#include "desk/loop/agenda.h"
#include "desk/loop/duration.h"
#include "desk/options.h"
#include "desk/services/service.h"
#include "krpbus/messages/system_message.h"

namespace desk {

namespace {

constexpr Milliseconds kPatience{5000};

bool isNotice(const MessageBase& message, const std::string& state) {
    const auto* const system = dynamic_cast<const SystemMessage*>(&message);
    return system != nullptr && system->getType() == SystemMessage::SM_STATE &&
           system->getText() == state && system->getDestination().empty();
}

/// Whether the client has been told the state by now.
bool hasBeenTold(KRPBusClient& bus, const std::string& state) {
    bus.read();
    while (const auto message = bus.getMessage()) {
        if (isNotice(*message, state)) {
            return true;
        }
    }
    return false;
}

}  // namespace

int tell(KRPBusClient& bus, const std::string& state, PosixSignals& signals) {
    const std::string logger(kKrpBusServer);
    bus.sendTo(bus.getName(), logger,
               std::make_unique<SystemMessage>(SystemMessage::SM_STATE, state));
    bus.probe(logger);
    const auto giveUpAt = Clock::now() + kPatience;
    while (Clock::now() < giveUpAt) {
        // While the server is gone its descriptor is always readable.
        const int busFd = bus.isConnected() ? bus.getFd() : -1;
        std::array<pollfd, 2> waiting{{{busFd, POLLIN, 0}, {signals.fd(), POLLIN, 0}}};
        poll(waiting.data(), waiting.size(), 100);
        if (hasBeenTold(bus, state)) {
            return kExitOk;
        }
        const int signal = signals.next().value_or(0);
        if (signal == SIGINT || signal == SIGTERM) {
            return kExitFailure;
        }
        if (!bus.takeVanished().empty()) {
            break;
        }
    }
    LogUtil::log(LogLevel::Error, "tell",
                 "no logger with the MAC address " + bus.getMac() + " is on this bus");
    return kExitNobodyThere;
}

}  // namespace desk
