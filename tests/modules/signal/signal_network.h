// A session on a real bus, and the participants that it talks to.
#pragma once

#include <cstdlib>
#include <memory>
#include <string>

#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "tests/krpbus/client/bus_test_client.h"
#include "tests/modules/signal/signal_samples.h"
#include "tests/modules/signal/signal_session.h"

// The session's connection to the bus, and what arrives at HandheldServer and KSLForwarder of the
// local logger. Messages are described as "request 137" or "type 4: 77-LVStartSignals"; at the
// forwarder with "all: " or "<MAC>: " before it, for whom they are.
class SignalNetwork {
  public:
    SignalNetwork() {
        setenv("KRPBUS_MAC", kLocalLogger, 1);
        bus = makeClient(server, "17_KLV1", kLocalLogger);
        handheldServer_ = makeClient(server, "HandheldServer", kLocalLogger);
        forwarder_ = makeClient(server, "KSLForwarder", kLocalLogger);
        meet();
        session.setup.krpbus = bus.get();
        session.setup.krpbus_name = bus->getName();
        kslInfo->setNeighbours({});
        kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
    }
    ~SignalNetwork() { session.setup.krpbus = nullptr; }

    // The bus server goes and comes back; what was on its way is lost.
    void loseConnection() {
        restart(server, {bus.get(), handheldServer_.get(), forwarder_.get()});
        meet();
    }

    std::string nextAtLocalLogger() {
        const auto message = nextMessage(*handheldServer_);
        return message ? describe(*message) : "nothing";
    }
    std::string nextAtForwarder() {
        const auto message = nextMessage(*forwarder_);
        const auto* router = dynamic_cast<const RouterMessage*>(message.get());
        if (router == nullptr || router->getMessage() == nullptr) {
            return "nothing";
        }
        const auto address = KSLUtil::splitAddress(router->getDestinationAddress());
        if (!address || address->participant != "HandheldServer") {
            return "to " + router->getDestinationAddress();
        }
        return (address->allOthers ? "all" : address->mac) + ": " + describe(*router->getMessage());
    }
    // Whether neither has been sent anything more. The bus keeps the order of what the session
    // sends, so a last notice shows that nothing stood before it.
    bool isQuiet() {
        for (KRPBusClient* client : {handheldServer_.get(), forwarder_.get()}) {
            bus->sendTo(bus->getName(), client->getName(),
                        std::make_unique<SystemMessage>(255, "last"));
            const auto message = nextMessage(*client);
            const auto* last = dynamic_cast<const SystemMessage*>(message.get());
            if (last == nullptr || last->text != "last") {
                return false;
            }
        }
        return true;
    }

    NatsServer server;
    SignalSession session;
    std::unique_ptr<KRPBusClient> bus;

  private:
    void meet() {
        synchronise(*bus, *handheldServer_);
        synchronise(*bus, *forwarder_);
    }

    static std::string describe(const MessageBase& message) {
        if (const auto* notice = dynamic_cast<const SystemMessage*>(&message)) {
            return "type " + std::to_string(notice->type) + ": " + notice->text;
        }
        if (const auto* request = dynamic_cast<const KRPMessageRequest*>(&message)) {
            return "request " + std::to_string(request->getKrpMsgID()) +
                   (request->payload.empty() ? "" : " with a payload");
        }
        return message.toString();
    }

    std::unique_ptr<KRPBusClient> handheldServer_;
    std::unique_ptr<KRPBusClient> forwarder_;
};
