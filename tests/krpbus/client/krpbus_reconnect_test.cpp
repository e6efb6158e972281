// A bus server that is away, goes away, stands still or comes back.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/log_capture.h"
#include "tests/krpbus/client/bus_test_client.h"

namespace {

using namespace std::chrono_literals;

std::string textOf(const std::unique_ptr<MessageBase>& message) {
    const auto* const notice = dynamic_cast<const SystemMessage*>(message.get());
    return notice != nullptr ? notice->text : "(no system message)";
}

std::unique_ptr<SystemMessage> notice(const std::string& text) {
    return std::make_unique<SystemMessage>(SystemMessage::SM_STATE, text);
}

std::size_t entriesOf(const char* directory) {
    DIR* const open = opendir(directory);
    std::size_t entries = 0;
    while (readdir(open) != nullptr) {
        ++entries;
    }
    closedir(open);
    return entries;
}

TEST(KrpBusReconnect, IsNotConnectedWithoutAServer) {
    NatsServer server;
    server.stop();
    const auto client = makeClient(server, "me");
    EXPECT_FALSE(client->isConnected());
    EXPECT_EQ(client->getConnectionCount(), 0U);
    EXPECT_TRUE(readable(*client, 0ms));
    EXPECT_FALSE(client->read());
    EXPECT_TRUE(nothingWaits(*client));
    EXPECT_FALSE(client->connectToServer());
}

TEST(KrpBusReconnect, ConnectsLaterWhenAsked) {
    NatsServer server;
    server.stop();
    const auto client = makeClient(server, "me");
    client->registerBus("Trigger");
    server.start();
    EXPECT_TRUE(client->connectToServer());
    EXPECT_TRUE(client->isConnected());
    EXPECT_EQ(client->getConnectionCount(), 1U);
    EXPECT_TRUE(client->connectToServer()) << "asked again it just says so";
    EXPECT_EQ(client->getConnectionCount(), 1U);

    client->sendToBus("me", "Trigger", notice("registered before"));
    EXPECT_EQ(textOf(nextMessage(*client)), "registered before");
}

TEST(KrpBusReconnect, DropsWhatIsSentWithoutAConnectionAndSaysSo) {
    NatsServer server;
    server.stop();
    const auto client = makeClient(server, "me");
    const LogCapture log;
    client->sendTo("me", "HandheldServer", notice("lost"));
    EXPECT_EQ(log.logLines(),
              std::vector<std::string>{"[ERROR] KLV::sendTo() message to HandheldServer dropped: "
                                       "no connection to the bus server"});
}

TEST(KrpBusReconnect, SaysAgainAndAgainThatTheServerHasGone) {
    NatsServer server;
    const auto client = makeClient(server, "me");
    ASSERT_TRUE(client->isConnected());
    EXPECT_TRUE(client->read());
    EXPECT_FALSE(readable(*client, 0ms));

    server.stop();
    EXPECT_TRUE(readable(*client, kPatience)) << "the consumer is woken";
    EXPECT_FALSE(client->isConnected());
    for (int pass = 0; pass < 3; ++pass) {
        EXPECT_TRUE(readable(*client, 0ms));
        EXPECT_FALSE(client->read());
        EXPECT_TRUE(nothingWaits(*client));
    }
}

TEST(KrpBusReconnect, HandsOutWhatCameBeforeTheServerWent) {
    NatsServer server;
    const auto client = makeClient(server, "me");
    client->sendTo("me", "me", notice("before"));
    ASSERT_TRUE(readable(*client, kPatience));
    server.stop();
    ASSERT_TRUE(eventually([&] { return !client->isConnected(); }));
    EXPECT_TRUE(client->read());
    EXPECT_EQ(textOf(client->getMessage()), "before");
    EXPECT_FALSE(client->read());
}

TEST(KrpBusReconnect, GoesOnInTheSameClientWhenTheServerIsBack) {
    NatsServer server;
    const auto client = makeClient(server, "me");
    const auto peer = makeClient(server, "peer");
    client->registerBus("Trigger");
    synchronise(*client, *peer);
    const int descriptor = client->getFd();

    for (std::uint32_t round = 2; round < 5; ++round) {
        server.stop();
        ASSERT_TRUE(eventually([&] { return !client->isConnected() && !peer->isConnected(); }));
        server.start();
        ASSERT_TRUE(eventually([&] { return client->isConnected() && peer->isConnected(); }));
        EXPECT_EQ(client->getConnectionCount(), round);
        EXPECT_TRUE(client->read());
        EXPECT_EQ(client->getFd(), descriptor);

        synchronise(*client, *peer);
        peer->sendTo("peer", "me", notice("to me"));
        EXPECT_EQ(textOf(nextMessage(*client)), "to me");
        peer->sendToBus("peer", "Trigger", notice("on the bus"));
        EXPECT_EQ(textOf(nextMessage(*client)), "on the bus");
        peer->sendToAll("peer", notice("to all"));
        EXPECT_EQ(textOf(nextMessage(*client)), "to all");
        EXPECT_EQ(textOf(nextMessage(*peer)), "to all");
        EXPECT_TRUE(nothingWaits(*client)) << "each registration is renewed once";
        EXPECT_FALSE(readable(*client, 0ms)) << "the consumer can rest again";
    }
}

TEST(KrpBusReconnect, RegistersABusWhileTheServerIsAway) {
    NatsServer server;
    const auto client = makeClient(server, "me");
    server.stop();
    ASSERT_TRUE(eventually([&] { return !client->isConnected(); }));
    client->registerBus("Trigger");
    server.start();
    ASSERT_TRUE(eventually([&] { return client->isConnected(); }));
    synchronise(*client, *client);
    client->sendToBus("me", "Trigger", notice("heard"));
    EXPECT_EQ(textOf(nextMessage(*client)), "heard");
}

TEST(KrpBusReconnect, LosesNothingWhileTheServerStandsStill) {
    NatsServer server;
    const auto client = makeClient(server, "me");
    const auto peer = makeClient(server, "peer");
    synchronise(*client, *peer);
    server.pause();
    for (int i = 0; i < 200; ++i) {
        peer->sendTo("peer", "me", notice(std::to_string(i)));
    }
    EXPECT_EQ(nextMessage(*client, 200ms), nullptr);
    EXPECT_TRUE(client->isConnected());
    server.resume();
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(textOf(nextMessage(*client)), std::to_string(i));
    }
    EXPECT_EQ(client->getConnectionCount(), 1U);
}

TEST(KrpBusReconnect, DoesNotHoldASenderForEverWhenTheServerStandsStill) {
    NatsServer server;
    KRPBusOptions options;
    options.probeInterval = 1h;  // it is not given up meanwhile
    const auto client = makeClient(server, "me", "02:00:00:00:00:01", options);
    const LogCapture log;
    server.pause();
    const std::string large(4'000'000, 'x');
    // The system takes some tens of megabytes before anything has to wait.
    int sent = 0;
    std::chrono::steady_clock::duration longest{};
    while (log.logLines("sendTo").empty() && sent < 50) {
        const auto before = std::chrono::steady_clock::now();
        client->sendTo("me", "me", notice(large));
        longest = std::max(longest, std::chrono::steady_clock::now() - before);
        ++sent;
    }
    EXPECT_EQ(log.logLines("sendTo"),
              std::vector<std::string>{"[ERROR] KLV::sendTo() message to me dropped: the bus "
                                       "server does not take any more"});
    EXPECT_LT(longest, 30s);
    server.resume();
    for (int i = 1; i < sent; ++i) {
        ASSERT_TRUE(textOf(nextMessage(*client)) == large) << "message " << i;
    }
}

TEST(KrpBusReconnect, CanBeDestroyedWhileTheServerIsAwayOrStandsStill) {
    NatsServer server;
    auto away = makeClient(server, "away");
    server.stop();
    ASSERT_TRUE(eventually([&] { return !away->isConnected(); }));
    auto before = std::chrono::steady_clock::now();
    away.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 30s);

    server.start();
    auto stuck = makeClient(server, "stuck");
    server.pause();
    stuck->sendTo("stuck", "stuck", notice(std::string(50'000'000, 'x')));
    before = std::chrono::steady_clock::now();
    stuck.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 30s);
    server.resume();
}

TEST(KrpBusReconnect, LeavesNoThreadAndNoDescriptorBehind) {
    const NatsServer server;
    makeClient(server, "first").reset();  // what the library keeps for good is there now
    const std::size_t descriptors = entriesOf("/proc/self/fd");
    const std::size_t threads = entriesOf("/proc/self/task");
    for (int i = 0; i < 20; ++i) {
        const auto client = makeClient(server, "again");
        client->registerBus("Trigger");
        client->sendTo("again", "again", notice("unread"));
    }
    EXPECT_TRUE(eventually([&] {
        return entriesOf("/proc/self/fd") <= descriptors && entriesOf("/proc/self/task") <= threads;
    })) << entriesOf("/proc/self/fd")
        << " descriptors instead of " << descriptors << ", " << entriesOf("/proc/self/task")
        << " threads instead of " << threads;
}

}  // namespace
