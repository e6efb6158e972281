// A session on a real bus, and the participants of the local logger that modules talk to.
#pragma once

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "krpbus/messages/router_message.h"
#include "krpbus/messages/system_message.h"
#include "network/ksl_info.h"
#include "tests/kit/loggers.h"
#include "tests/kit/worker_session.h"
#include "tests/krpbus/client/bus_test_client.h"

/// The session has its bus client but no bus thread: a test hands answers to the modules itself.
/// The neighbour list is complete and empty at first.
class ModuleSession {
  public:
    ModuleSession() {
        setenv("KRPBUS_MAC", kLocalLogger.c_str(), 1);
        bus = makeClient(server, "17_KLV1");
        for (const char* name :
             {"HandheldServer", "EventHandler", "OnlineProcessor", "KSLForwarder"}) {
            participants_[name] = makeClient(server, name);
        }
        meet();
        session.setup.krpbus = bus.get();
        session.setup.krpbus_name = bus->getName();
        kslInfo->setNeighbours({});
        kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
    }
    ~ModuleSession() { session.setup.krpbus = nullptr; }

    /// The bus server goes and comes back; what was on its way is lost.
    void loseConnection() {
        std::vector<KRPBusClient*> clients = {bus.get()};
        for (const auto& [name, participant] : participants_) {
            clients.push_back(participant.get());
        }
        restart(server, clients);
        meet();
    }

    /// The next message that reaches the participant, printed; behind its destination address for
    /// one that is to be forwarded.
    std::string next(const std::string& participant) {
        const auto message = nextMessage(*participants_.at(participant));
        if (const auto* router = dynamic_cast<const RouterMessage*>(message.get())) {
            return router->getDestinationAddress() + " " +
                   (router->getMessage() != nullptr ? router->getMessage()->toString() : "nothing");
        }
        return message ? message->toString() : "nothing";
    }
    /// The next message itself.
    std::unique_ptr<MessageBase> nextMessageAt(const std::string& participant) {
        return nextMessage(*participants_.at(participant));
    }

    /// Whether the participant is sent nothing for so long.
    bool isLeftAlone(const std::string& participant, std::chrono::milliseconds duration) {
        return nextMessage(*participants_.at(participant), duration) == nullptr;
    }

    /// Whether no participant has been sent anything more. The bus keeps the order of what the
    /// session sends, so a last notice shows that nothing stood before it.
    bool isQuiet() {
        for (const auto& [name, participant] : participants_) {
            bus->sendTo(bus->getName(), name, std::make_unique<SystemMessage>(255, "last"));
            if (next(name) != "SystemMessage [type=255] [text=last]") {
                return false;
            }
        }
        return true;
    }

    NatsServer server;
    WorkerSession session;
    std::unique_ptr<KRPBusClient> bus;

  private:
    void meet() {
        for (const auto& [name, participant] : participants_) {
            synchronise(*bus, *participant);
        }
    }

    std::map<std::string, std::unique_ptr<KRPBusClient>> participants_;
};
