// What the tests of the bus client share: waiting for messages with a deadline.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/message_base.h"
#include "krpbus/messages/signal_message.h"
#include "tests/kit/nats_server.h"

constexpr std::chrono::seconds kPatience{10};

// Waits until the condition holds; false when it has not within the patience of a test.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds patience = kPatience);

// A client of the test's server that belongs to the given logger.
std::unique_ptr<KRPBusClient> makeClient(const NatsServer& server, const std::string& name,
                                         const std::string& mac = "02:00:00:00:00:01",
                                         KRPBusOptions options = {});

// Waits on the client's descriptor for the next message; null when none came in time.
std::unique_ptr<MessageBase> nextMessage(KRPBusClient& client,
                                         std::chrono::milliseconds patience = kPatience);

// The next message that has arrived already, and whether there is none.
std::unique_ptr<MessageBase> nextWaiting(KRPBusClient& client);
bool nothingWaits(KRPBusClient& client);

// Sends messages back and forth until the bus server has all subscriptions of both clients. Drops
// what else comes in until then.
void synchronise(KRPBusClient& first, KRPBusClient& second);

// Ends the server and starts it again, and waits until all of its clients are connected anew.
void restart(NatsServer& server, const std::vector<KRPBusClient*>& clients);

// Waits on the client's descriptor; whether it became readable.
bool readable(const KRPBusClient& client, std::chrono::milliseconds patience);

// The same as a consumer that then takes in what has come itself.
bool waitFor(KRPBusClient& client, std::chrono::milliseconds patience);

std::unique_ptr<SignalMessage> signal(const std::string& name, const std::string& value);
