// Connections to a real bus server that break off in the middle of a message, plain and over TLS.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/patient_connect.h"
#include "tests/krpbus/client/bus_certificate.h"
#include "tests/krpbus/client/bus_test_client.h"
#include "tests/krpbus/client/cutting_relay.h"

#if defined(__SANITIZE_ADDRESS__)
// Of a large message that a connection broke off in, the NATS library (3.4) frees all but the
// buffer for its bytes.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:natsBuf_Create\n";
}
#endif

namespace {

using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

constexpr int kAfterwards = 40;
// Two seconds, and what a machine takes that has other things to do. Without a limit a login would
// take for ever.
constexpr auto kLongestLogin = 30s;

std::unique_ptr<SystemMessage> notice(const std::string& text) {
    return std::make_unique<SystemMessage>(SystemMessage::SM_STATE, text);
}

std::string textOf(const std::unique_ptr<MessageBase>& message) {
    const auto* const notice = dynamic_cast<const SystemMessage*>(message.get());
    return notice != nullptr ? notice->getText() : "(no system message)";
}

// A client in a process of its own, which can be stopped and continued. It tells, line by line, the
// number of each new connection and the length of what comes in.
class ClientProcess {
  public:
    ClientProcess(const std::string& url) {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
        output_ = base::FileDescriptor(ends[0]);
        process_ = fork();
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            tell(url, ends[1]);
        }
        close(ends[1]);
    }
    ~ClientProcess() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;

    void stop() {
        kill(process_, SIGSTOP);
        waitpid(process_, nullptr, WUNTRACED);
    }
    void resume() { kill(process_, SIGCONT); }

    // The next line; "(nothing)" when none comes in time.
    std::string nextLine() {
        std::string line;
        pollfd readable{output_.get(), POLLIN, 0};
        char letter = 0;
        while (poll(&readable, 1, 30'000) == 1 && ::read(output_.get(), &letter, 1) == 1) {
            if (letter == '\n') {
                return line;
            }
            line += letter;
        }
        return "(nothing)";
    }

  private:
    [[noreturn]] static void tell(const std::string& url, int output) {
        KRPBusOptions options;
        options.mac = "02:00:00:00:00:01";
        KRPBusClient client("me", url, 1, options);
        connectPatiently(client);
        std::uint32_t connections = 0;
        for (;;) {
            if (connections != client.getConnectionCount()) {
                connections = client.getConnectionCount();
                dprintf(output, "connection %u\n", connections);
            }
            if (const auto message = nextMessage(client, 10ms)) {
                dprintf(output, "%zu bytes\n", textOf(message).size());
            }
        }
    }

    base::FileDescriptor output_;
    pid_t process_ = -1;
};

// The parameter: whether over TLS.
class KrpBusCutReal : public testing::TestWithParam<bool> {
  protected:
    KrpBusCutReal() {
        std::string configuration = "max_payload: 67108864\n";
        if (GetParam()) {
            certificate_.emplace();
            configuration += certificate_->configuration();
            setenv("SSL_CERT_FILE", certificate_->certificate().c_str(), 1);
        }
        server_.emplace(configuration);
    }

    std::string url(std::uint16_t port) const {
        return (GetParam() ? "tls://127.0.0.1:" : "nats://127.0.0.1:") + std::to_string(port);
    }
    std::unique_ptr<KRPBusClient> connect(const std::string& name, std::uint16_t port,
                                          std::chrono::milliseconds probeInterval = 5s) const {
        KRPBusOptions options;
        options.mac = "02:00:00:00:00:01";
        options.probeInterval = probeInterval;
        return std::make_unique<KRPBusClient>(name, url(port), 1, options);
    }

    // So many bytes before the end of the login the server is inside its last word, PONG, or over
    // TLS inside the record of it, also where what comes before is a little longer.
    static std::size_t lastWord() { return GetParam() ? 20 : 3; }

    std::optional<Certificate> certificate_;
    std::optional<NatsServer> server_;
};

TEST_P(KrpBusCutReal, HearsEverythingAfterAServerWasKilledInTheMiddleOfALargeMessage) {
    ClientProcess client(url(server_->port()));
    ASSERT_EQ(client.nextLine(), "connection 1");
    auto sender = connect("sender", server_->port());
    ASSERT_TRUE(sender->isConnected());
    client.stop();
    sender->sendTo("sender", "me", notice(std::string(20'000'000, 'x')));
    synchronise(*sender,
                *sender);  // the server has it, and what the client's socket takes is there
    sender.reset();
    server_->stop();
    client.resume();
    server_->start();
    ASSERT_EQ(client.nextLine(), "connection 2");
    sender = connect("sender", server_->port());
    for (int i = 0; i < kAfterwards; ++i) {
        sender->sendTo("sender", "me", notice(std::string(100, 'x')));
    }
    for (int i = 0; i < kAfterwards; ++i) {
        ASSERT_EQ(client.nextLine(), "100 bytes") << "message " << i;
    }
}

TEST_P(KrpBusCutReal, HearsEverythingAfterACutAnywhereInWhatTheServerSends) {
    CuttingRelay relay(server_->port());
    const auto sender = connect("sender", server_->port());
    const auto client = connect("me", relay.port());
    synchronise(*sender, *client);
    const std::string large(100'000, 'x');
    // Over TLS the cuts are in records: their heads, their first and their last bytes.
    std::uint32_t connections = 1;
    for (const std::size_t bytes : {1U, 3U, 5U, 6U, 40U, 70U, 80U, 1000U, 16'384U, 16'389U, 16'407U,
                                    16'412U, 50'000U, 100'000U, 100'080U}) {
        relay.cutAfter(bytes);
        sender->sendTo("sender", "me", notice(large));
        ASSERT_TRUE(eventually([&] { return client->getConnectionCount() > connections; }));
        connections = client->getConnectionCount();
        synchronise(*sender, *client);
        sender->sendTo("sender", "me", notice("whole"));
        ASSERT_EQ(textOf(nextMessage(*client)), "whole") << "after " << bytes << " bytes";
    }
}

TEST_P(KrpBusCutReal, GivesUpAServerThatStandsStillInTheMiddleOfAMessage) {
    CuttingRelay relay(server_->port());
    const auto sender = connect("sender", server_->port());
    const auto client = connect("me", relay.port(), 300ms);
    synchronise(*sender, *client);
    std::uint32_t connections = 1;
    for (const std::size_t bytes : {3U, 80U, 50'000U}) {
        relay.standStillAfter(bytes);
        sender->sendTo("sender", "me", notice(std::string(100'000, 'x')));
        ASSERT_TRUE(eventually([&] { return client->getConnectionCount() > connections; }));
        connections = client->getConnectionCount();
        synchronise(*sender, *client);
        sender->sendTo("sender", "me", notice("whole"));
        ASSERT_EQ(textOf(nextMessage(*client)), "whole") << "after " << bytes << " bytes";
    }
}

// From before the first byte of what the server says in the login to its last word.
TEST_P(KrpBusCutReal, WaitsTwoSecondsForAServerThatStandsStillInTheLogin) {
    CuttingRelay relay(server_->port());
    const std::size_t whole = [&] {
        const auto client = connect("me", relay.port());
        EXPECT_TRUE(connectPatiently(*client));
        return relay.passed();
    }();
    for (const std::size_t bytes : {std::size_t{0}, whole / 4, whole / 2, whole - lastWord()}) {
        relay.standStillInLogins(bytes);
        const auto begin = Clock::now();
        const auto client = connect("me", relay.port());
        EXPECT_FALSE(client->isConnected());
        EXPECT_LT(Clock::now() - begin, kLongestLogin) << bytes << " bytes of " << whole;
        relay.standStillInLogins(CuttingRelay::kAll);
        EXPECT_TRUE(connectPatiently(*client)) << "after " << bytes << " bytes";
    }
}

TEST_P(KrpBusCutReal, EndsThoughTheServerStandsStillInALaterLogin) {
    CuttingRelay relay(server_->port());
    auto client = connect("me", relay.port());
    ASSERT_TRUE(connectPatiently(*client));
    const std::size_t whole = relay.passed();
    int connections = relay.connections();
    for (const std::size_t bytes : {whole / 2, whole - lastWord()}) {
        relay.standStillInLogins(bytes);
        server_->stop();
        server_->start();
        ASSERT_TRUE(eventually(
            [&] { return relay.connections() > connections && relay.passed() >= bytes; }));
        const auto begin = Clock::now();
        client.reset();
        EXPECT_LT(Clock::now() - begin, kLongestLogin) << bytes << " bytes of " << whole;
        relay.standStillInLogins(CuttingRelay::kAll);
        client = connect("me", relay.port());
        ASSERT_TRUE(connectPatiently(*client));
        connections = relay.connections();
    }
}

TEST_P(KrpBusCutReal, ComesBackWhenTheServerNoLongerStandsStillInTheLogin) {
    CuttingRelay relay(server_->port());
    const auto client = connect("me", relay.port());
    ASSERT_TRUE(connectPatiently(*client));
    relay.standStillInLogins(relay.passed() / 2);
    server_->stop();
    server_->start();
    ASSERT_TRUE(eventually([&] { return relay.connections() >= 3; })) << "it tries again and again";
    relay.standStillInLogins(CuttingRelay::kAll);
    EXPECT_TRUE(eventually([&] { return client->getConnectionCount() == 2; }));
}

INSTANTIATE_TEST_SUITE_P(PlainAndTls, KrpBusCutReal, testing::Bool(), [](const auto& tested) {
    return tested.param ? std::string("Tls") : std::string("Plain");
});

}  // namespace
