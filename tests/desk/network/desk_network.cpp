#include "tests/desk/network/desk_network.h"

#include <algorithm>
#include <map>
#include <utility>

#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/system_message.h"

namespace {

using Clock = std::chrono::steady_clock;

// Opens the envelope of what came from another logger.
FromLogger unwrap(const KRPBusClient& client, std::unique_ptr<MessageBase> message) {
    auto* const router = dynamic_cast<RouterMessage*>(message.get());
    if (router == nullptr) {
        return {std::move(message), client.getMac()};
    }
    unsigned char link = 0;
    std::string mac;
    if (!KSLUtil::parseForwardMsgAddr(router->getSourceAddress(), link, mac)) {
        mac = "(no logger: " + router->getSourceAddress() + ")";
    }
    return {router->takeMessage(), mac};
}

}  // namespace

DeskNetworkTest::Process DeskNetworkTest::launchLogger(const std::string& mac,
                                                       const std::vector<std::string>& more) {
    std::vector<std::string> arguments{"--mac", mac};
    arguments.insert(arguments.end(), more.begin(), more.end());
    for (const auto& [option, value] : std::map<std::string, std::string>{
             {"--source", "drive"}, {"--heartbeat", "100ms"}, {"--neighbours-timeout", "2s"}}) {
        if (std::find(more.begin(), more.end(), option) == more.end()) {
            arguments.insert(arguments.end(), {option, value});
        }
    }
    return std::make_unique<DeskLoggerProcess>(server_.address(), arguments);
}

DeskNetworkTest::Process DeskNetworkTest::startLogger(const std::string& mac,
                                                      const std::vector<std::string>& more) {
    Process logger = launchLogger(mac, more);
    EXPECT_TRUE(logger->waitForOutput("desklogger " + mac + " ready\n")) << logger->output();
    return logger;
}

DeskNetworkTest::Process DeskNetworkTest::startWithScenario(const std::string& mac,
                                                            const std::string& json,
                                                            const std::vector<std::string>& more) {
    const std::string name = "scenario-" + std::to_string(++scenarios_) + ".json";
    std::vector<std::string> arguments{"--scenario", directory_.write(name, json)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return startLogger(mac, arguments);
}

std::unique_ptr<KRPBusClient> DeskNetworkTest::client(const std::string& mac,
                                                      const std::string& name) {
    auto result = makeClient(server_, name, mac);
    synchronise(*result, *result);
    return result;
}

FromLogger DeskNetworkTest::waitFor(KRPBusClient& client,
                                    const std::function<bool(const FromLogger&)>& predicate,
                                    std::chrono::milliseconds patience) {
    const auto deadline = Clock::now() + patience;
    while (Clock::now() < deadline) {
        auto message = nextMessage(
            client, std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()));
        if (!message) {
            break;
        }
        FromLogger received = unwrap(client, std::move(message));
        if (received.message && predicate(received)) {
            return received;
        }
    }
    return {};
}

FromLogger DeskNetworkTest::nextAnswer(KRPBusClient& client, std::chrono::milliseconds patience) {
    return waitFor(
        client,
        [](const FromLogger& received) { return received.as<KRPMessageResponse>() != nullptr; },
        patience);
}

std::string DeskNetworkTest::nextNotice(KRPBusClient& client, unsigned char type) {
    const FromLogger notice = waitFor(client, [type](const FromLogger& received) {
        const auto* const system = received.as<SystemMessage>();
        return system != nullptr && system->getType() == type;
    });
    return notice.message ? notice.as<SystemMessage>()->getText() : "(none)";
}

void DeskNetworkTest::ask(KRPBusClient& client, const MessageBase& request,
                          const std::string& participant) {
    client.sendTo(client.getName(), participant, request.clone());
}

void DeskNetworkTest::forward(KRPBusClient& client, const MessageBase& message,
                              const std::string& address) {
    client.sendTo(client.getName(), "KSLForwarder",
                  std::make_unique<RouterMessage>(client.getName(), address, message.clone()));
}

std::vector<std::string> DeskNetworkTest::neighboursOf(KRPBusClient& client) {
    ask(client, SimpleMessageRequest<88>());
    const FromLogger answer = nextAnswer(client);
    const auto* const neighbours = answer.as<StringVectorMessageResponse<88>>();
    return neighbours != nullptr ? neighbours->strings : std::vector<std::string>{"(no answer)"};
}

bool DeskNetworkTest::waitForNeighbours(KRPBusClient& client,
                                        const std::vector<std::string>& macs) {
    return eventually([&] { return neighboursOf(client) == macs; });
}
