// A participant of the message bus that a test reads message by message.
#pragma once

#include <poll.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/patient_connect.h"

class BusParticipant {
  public:
    /// Returns once the bus server knows the participant: whatever anybody sends from then on comes
    /// in.
    BusParticipant(const std::string& name, unsigned short port)
        : client_(name, "127.0.0.1", port) {
        connectPatiently(client_);
        client_.sendTo(name, name, std::make_unique<SystemMessage>(0, "are you there"));
        if (next() == nullptr) {
            throw std::runtime_error("no bus server on port " + std::to_string(port));
        }
    }

    KRPBusClient& client() { return client_; }

    /// The next message that comes in; null when none comes in time.
    std::unique_ptr<MessageBase> next(
        std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (true) {
            if (client_.read()) {
                if (auto message = client_.getMessage()) {
                    return message;
                }
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                return nullptr;
            }
            pollfd waiting{client_.getFd(), POLLIN, 0};
            ::poll(&waiting, 1, static_cast<int>(left.count()));
        }
    }

    /// The same, for a message of one type; null when another one comes.
    template <class Message>
    std::unique_ptr<Message> nextOf(std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
        auto message = next(timeout);
        auto* wanted = dynamic_cast<Message*>(message.get());
        if (wanted != nullptr) {
            message.release();
        }
        return std::unique_ptr<Message>(wanted);
    }

  private:
    KRPBusClient client_;
};
