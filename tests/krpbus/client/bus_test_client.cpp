#include "tests/krpbus/client/bus_test_client.h"

#include <poll.h>

#include <stdexcept>
#include <thread>

#include "krpbus/messages/system_message.h"
#include "tests/kit/patient_connect.h"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto deadline = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

std::unique_ptr<KRPBusClient> makeClient(const NatsServer& server, const std::string& name,
                                         const std::string& mac, KRPBusOptions options) {
    options.mac = mac;
    auto client = std::make_unique<KRPBusClient>(name, "127.0.0.1", server.port(), options);
    if (server.isRunning()) {
        connectPatiently(*client);
    }
    return client;
}

bool readable(const KRPBusClient& client, std::chrono::milliseconds patience) {
    pollfd polled{client.getFd(), POLLIN, 0};
    return poll(&polled, 1, static_cast<int>(patience.count())) == 1;
}

bool waitFor(KRPBusClient& client, std::chrono::milliseconds patience) {
    const KRPBusClient::Waiting waiting(client);
    return readable(client, patience);
}

std::unique_ptr<MessageBase> nextMessage(KRPBusClient& client, std::chrono::milliseconds patience) {
    const auto deadline = Clock::now() + patience;
    for (;;) {
        if (auto message = client.getMessage()) {
            return message;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left <= 0ms) {
            return nullptr;
        }
        if (waitFor(client, left) && !client.read()) {
            std::this_thread::sleep_for(5ms);  // gone: the descriptor stays readable
        }
    }
}

std::unique_ptr<MessageBase> nextWaiting(KRPBusClient& client) {
    if (auto message = client.getMessage()) {
        return message;
    }
    client.read();
    return client.getMessage();
}

bool nothingWaits(KRPBusClient& client) {
    return nextWaiting(client) == nullptr;
}

void synchronise(KRPBusClient& first, KRPBusClient& second) {
    // The server handles what one client sends in order: once a message to oneself has come back,
    // all that was asked for before is in force.
    for (KRPBusClient* client : {&first, &second}) {
        client->sendTo(client->getName(), client->getName(),
                       std::make_unique<SystemMessage>(255, "synchronise"));
        bool isBack = false;
        while (!isBack) {
            // What else was on its way comes before it.
            const auto message = nextMessage(*client);
            if (message == nullptr) {
                throw std::runtime_error("the bus does not answer");
            }
            const auto* const own = dynamic_cast<const SystemMessage*>(message.get());
            isBack = own != nullptr && own->text == "synchronise";
        }
    }
}

void restart(NatsServer& server, const std::vector<KRPBusClient*>& clients) {
    std::vector<std::uint32_t> before;
    for (const KRPBusClient* client : clients) {
        before.push_back(client->getConnectionCount());
    }
    server.stop();
    server.start();
    for (std::size_t i = 0; i < clients.size(); ++i) {
        if (!eventually([&] { return clients[i]->getConnectionCount() > before[i]; })) {
            throw std::runtime_error("the bus does not come back");
        }
    }
}

std::unique_ptr<SignalMessage> signal(const std::string& name, const std::string& value) {
    auto message = std::make_unique<SignalMessage>();
    message->webappName = name;
    message->value = value;
    return message;
}
