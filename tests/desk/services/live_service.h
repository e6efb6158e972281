// A service that sends live data, on a real bus, with a client that it serves.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "desk/loop/agenda.h"
#include "desk/services/outbox.h"
#include "krpbus/messages/system_message.h"
#include "tests/krpbus/client/bus_test_client.h"

/// The test makes the service, in `service`.
template <class Service>
class LiveService : public testing::Test {
  protected:
    LiveService() { newClient(); }

    void newClient() { client = connect("17_KLV1"); }
    // A client that the bus server knows, and the service's client reaches.
    std::unique_ptr<KRPBusClient> connect(const std::string& name, const std::string& mac = kMac) {
        auto made = makeClient(server, name, mac);
        synchronise(*bus, *made);
        return made;
    }
    // Whether the service takes the notice as its own.
    bool notice(const std::string& text, const std::string& from = "17_KLV1",
                unsigned char type = SystemMessage::SM_STATE) {
        SystemMessage message(type, text);
        message.setSource(from);
        return service->takeNotice(message);
    }
    // The same from a client that listens where live data is sent once for all.
    bool noticeOfListener(const std::string& text, const std::string& from) {
        SystemMessage message(SystemMessage::SM_STATE, text);
        message.setSource(from);
        message.setTakesShared(true);
        return service->takeNotice(message);
    }
    // One that does.
    std::unique_ptr<KRPBusClient> connectListener(const std::string& name, const std::string& mac,
                                                  krpbus::LiveData data) {
        auto made = makeClient(server, name, mac);
        made->listenToLive(data);
        synchronise(*bus, *made);
        return made;
    }
    // Whether anything is to be done yet.
    bool runs() { return agenda.next().has_value(); }
    // Runs the agenda until the condition holds; false when it has not in time.
    bool runUntil(const std::function<bool()>& condition) {
        const auto deadline = desk::Clock::now() + kPatience;
        while (!condition() && desk::Clock::now() < deadline) {
            agenda.runDue(desk::Clock::now());
            for (const std::string& address : bus->takeVanished()) {
                service->clientMissing(address);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return condition();
    }
    // Whether nothing has been sent to this client, as a notice that follows all else tells.
    bool hasNothing(KRPBusClient& receiver) {
        bus->sendTo("HandheldServer", receiver.getName(),
                    std::make_unique<SystemMessage>(SystemMessage::SM_STATE, "last"));
        const auto first = nextMessage(receiver);
        return dynamic_cast<const SystemMessage*>(first.get()) != nullptr;
    }
    // Runs the agenda until that many messages have come in.
    std::vector<std::unique_ptr<MessageBase>> messages(KRPBusClient& receiver, std::size_t count) {
        std::vector<std::unique_ptr<MessageBase>> received;
        runUntil([&] {
            while (auto message = nextWaiting(receiver)) {
                received.push_back(std::move(message));
            }
            return received.size() >= count;
        });
        return received;
    }
    // The next `count` signal values that the client gets; fewer when they do not come in time.
    std::vector<SignalMessage> values(std::size_t count) {
        std::vector<SignalMessage> values;
        runUntil([&] {
            while (auto message = nextWaiting(*client)) {
                if (const auto* value = dynamic_cast<const SignalMessage*>(message.get())) {
                    values.push_back(*value);
                }
            }
            return values.size() >= count;
        });
        values.resize(std::min(values.size(), count));
        return values;
    }

    static constexpr const char* kMac = "02:00:00:00:00:01";

    NatsServer server;
    desk::Agenda agenda;
    std::unique_ptr<KRPBusClient> bus = makeClient(server, "desk", kMac);
    desk::Outbox outbox{*bus, agenda};
    std::unique_ptr<KRPBusClient> client;
    std::optional<Service> service;
};
