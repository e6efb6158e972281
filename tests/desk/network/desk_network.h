// A logger network for a test: a real bus server, real desk loggers, and somebody who asks them.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/simple_messages.h"
#include "tests/desk/network/desklogger_process.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/temporary_directory.h"
#include "tests/krpbus/client/bus_test_client.h"

inline constexpr const char* kMacA = "02:00:00:00:00:0A";
inline constexpr const char* kMacB = "02:00:00:00:00:0B";
inline constexpr const char* kMacC = "02:00:00:00:00:0C";

// A message that a logger sent, and the logger that it came from.
struct FromLogger {
    std::unique_ptr<MessageBase> message;  // never a RouterMessage
    std::string mac;                       // upper case

    // The message as an answer of that type; null when it is none.
    template <class Answer>
    const Answer* as() const {
        return dynamic_cast<const Answer*>(message.get());
    }
};

class DeskNetworkTest : public testing::Test {
  protected:
    using Process = std::unique_ptr<DeskLoggerProcess>;

    // Starts a logger whose heartbeat is quick, and waits until it is ready.
    Process startLogger(const std::string& mac, const std::vector<std::string>& more = {});
    // Starts one without waiting.
    Process launchLogger(const std::string& mac, const std::vector<std::string>& more = {});
    // Starts a logger that misbehaves.
    Process startWithScenario(const std::string& mac, const std::string& json,
                              const std::vector<std::string>& more = {});
    // A client on a logger's bus. The bus server knows its subscriptions.
    std::unique_ptr<KRPBusClient> client(const std::string& mac,
                                         const std::string& name = "tester");

    // Waits for a message that the predicate takes, dropping others; without one the message is
    // null.
    static FromLogger waitFor(KRPBusClient& client,
                              const std::function<bool(const FromLogger&)>& predicate,
                              std::chrono::milliseconds patience = kPatience);
    // Waits for the next answer to any request.
    static FromLogger nextAnswer(KRPBusClient& client,
                                 std::chrono::milliseconds patience = kPatience);
    // The text of the next notice of that type; "(none)" without one.
    static std::string nextNotice(KRPBusClient& client, unsigned char type);

    // Asks the client's own logger.
    static void ask(KRPBusClient& client, const MessageBase& request,
                    const std::string& participant = "HandheldServer");
    // Sends the message to a forwarding address, by way of the forwarder of the client's own
    // logger.
    static void forward(KRPBusClient& client, const MessageBase& message,
                        const std::string& address);
    // The neighbours that the client's own logger names.
    static std::vector<std::string> neighboursOf(KRPBusClient& client);
    // Waits until the client's own logger names exactly these neighbours.
    static bool waitForNeighbours(KRPBusClient& client, const std::vector<std::string>& macs);

    NatsServer server_;
    TemporaryDirectory directory_;

  private:
    int scenarios_ = 0;
};
