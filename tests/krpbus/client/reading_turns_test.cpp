// Whose thread takes in what the bus server sends: the reader's, or the consumer's.
#include "krpbus/client/reading_turns.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/system_message.h"
#include "tests/kit/log_capture.h"
#include "tests/krpbus/client/bus_test_client.h"

namespace {

using namespace std::chrono_literals;

const std::string kMac = "02:00:00:00:00:01";

std::string wordAfter(const std::string& file, const std::string& name) {
    std::ifstream lines(file);
    std::string word;
    while (lines >> word && word != name) {
    }
    lines >> word;
    return word;
}

// The reader threads of this process, by number.
std::set<std::string> readers() {
    std::set<std::string> found;
    DIR* const tasks = opendir("/proc/self/task");
    while (const dirent* const entry = readdir(tasks)) {
        const std::string number = entry->d_name;
        if (wordAfter("/proc/self/task/" + number + "/status", "Name:") == "krpbus-reader") {
            found.insert(number);
        }
    }
    closedir(tasks);
    return found;
}

// How often a thread has gone to sleep.
long sleepsOf(const std::string& thread) {
    return std::stol(
        wordAfter("/proc/self/task/" + thread + "/status", "voluntary_ctxt_switches:"));
}

std::unique_ptr<SystemMessage> notice(const std::string& text) {
    return std::make_unique<SystemMessage>(SystemMessage::SM_STATE, text);
}

std::string textOf(const std::unique_ptr<MessageBase>& message) {
    const auto* const notice = dynamic_cast<const SystemMessage*>(message.get());
    return notice != nullptr ? notice->text : "(no system message)";
}

std::string nameOf(const std::unique_ptr<MessageBase>& message) {
    const auto* const value = dynamic_cast<const SignalMessage*>(message.get());
    return value != nullptr ? value->webappName : "(no value)";
}

class ReadingTurns : public testing::Test {
  protected:
    // The client that is watched is made first: its reader is the only one then.
    std::unique_ptr<KRPBusClient> makeConsumer(const KRPBusOptions& options = {}) {
        auto client = makeClient(server_, "consumer", kMac, options);
        EXPECT_TRUE(eventually([] { return readers().size() == 1; }));
        reader_ = *readers().begin();
        sender_ = makeClient(server_, "sender");
        synchronise(*client, *sender_);
        return client;
    }
    // Something has come in before, so the client knows that its socket is a plain one.
    static void giveTurnTo(KRPBusClient& consumer) {
        EXPECT_TRUE(nothingWaits(consumer));
        EXPECT_FALSE(waitFor(consumer, 0ms));
    }
    void send(std::unique_ptr<MessageBase>&& message) {
        sender_->sendTo("sender", "consumer", std::move(message));
    }

    NatsServer server_;
    std::string reader_;
    std::unique_ptr<KRPBusClient> sender_;
};

TEST_F(ReadingTurns, WakeNoOtherThreadWhileTheConsumerKeepsUp) {
    const auto consumer = makeConsumer();
    const long before = sleepsOf(reader_);
    constexpr int kMessages = 500;
    for (int i = 0; i < kMessages; ++i) {
        send(notice(std::to_string(i)));
        ASSERT_EQ(textOf(nextMessage(*consumer)), std::to_string(i));
    }
    EXPECT_LT(sleepsOf(reader_) - before, kMessages / 2);
}

TEST_F(ReadingTurns, LetNobodyWaitForWhatIsLeftOfOneLookAtTheSocket) {
    const auto consumer = makeConsumer();
    consumer->listenToLive(krpbus::LiveData::Signals);
    synchronise(*consumer, *sender_);
    giveTurnTo(*consumer);
    // What is published together is read at once.
    std::vector<std::unique_ptr<MessageBase>> values;
    for (const char* name : {"first", "second", "third"}) {
        values.push_back(signal(name, "1"));
    }
    sender_->sendLive("sender", krpbus::LiveData::Signals, {}, values);
    EXPECT_EQ(nameOf(nextMessage(*consumer)), "first");
    for (const char* name : {"second", "third"}) {
        EXPECT_TRUE(waitFor(*consumer, 0ms)) << "for the " << name;
        EXPECT_EQ(nameOf(consumer->getMessage()), name);
    }
    EXPECT_TRUE(nothingWaits(*consumer));
}

TEST_F(ReadingTurns, GoToTheReaderWhenTheConsumerDoesNotComeBack) {
    KRPBusOptions options;
    options.queueLimit = 100'000;
    const auto consumer = makeConsumer(options);
    const LogCapture log;
    giveTurnTo(*consumer);
    for (int i = 0; i < 20; ++i) {
        send(notice(std::string(10'000, 'x')));
    }
    EXPECT_TRUE(eventually([&] { return !consumer->isConnected(); }))
        << "that too much waits shows though the consumer has not looked";
    EXPECT_FALSE(consumer->read());

    synchronise(*consumer, *sender_);
    send(notice("after that"));
    EXPECT_EQ(textOf(nextMessage(*consumer)), "after that");
}

TEST_F(ReadingTurns, GoToTheReaderWhenMoreComesThanTheConsumerGetsDone) {
    KRPBusOptions options;
    options.skipAfter = 100ms;
    const auto consumer = makeConsumer(options);
    const LogCapture log;
    giveTurnTo(*consumer);
    std::thread flood([this] {
        for (int i = 0; i < 3'000; ++i) {
            send(signal("speed", std::string(4'000, 'x')));
        }
        send(notice("last"));
    });
    // It comes back often, since one look at the socket brings eight of them only, and is too slow
    // all the same.
    while (textOf(nextMessage(*consumer)) != "last") {
        std::this_thread::sleep_for(200us);
    }
    flood.join();
    ASSERT_FALSE(log.logLines().empty());
    EXPECT_NE(log.logLines().front().find("older values of live data"), std::string::npos);
}

TEST_F(ReadingTurns, LetTheReaderSeeTheServersEnd) {
    const auto consumer = makeConsumer();
    std::atomic<bool> seen{false};
    std::thread waiting([&] {
        // Without a message the consumer stays in this one wait.
        const bool woken = waitFor(*consumer, kPatience);
        seen = woken;
    });
    server_.stop();
    waiting.join();
    EXPECT_TRUE(seen);
    EXPECT_TRUE(eventually([&] { return !consumer->isConnected(); }));
    server_.start();
    EXPECT_TRUE(eventually([&] { return consumer->getConnectionCount() == 2; }));
    EXPECT_TRUE(eventually([&] { return sender_->getConnectionCount() == 2; }));
    synchronise(*consumer, *sender_);
}

TEST_F(ReadingTurns, LetTheReaderGiveUpASilentServer) {
    KRPBusOptions options;
    options.probeInterval = 100ms;
    const auto consumer = makeConsumer(options);
    server_.pause();
    EXPECT_TRUE(eventually([&] {
        waitFor(*consumer, 100ms);
        consumer->read();
        return !consumer->isConnected();
    }));
    server_.resume();
    EXPECT_TRUE(eventually([&] { return consumer->getConnectionCount() >= 2; }));
}

TEST_F(ReadingTurns, AreNoReasonToGiveUpAServerThatAnswersTheConsumer) {
    KRPBusOptions options;
    options.probeInterval = 50ms;
    const auto consumer = makeConsumer(options);
    for (int i = 0; i < 100; ++i) {
        // Only probes come in.
        if (waitFor(*consumer, 10ms)) {
            consumer->read();
            EXPECT_EQ(consumer->getMessage(), nullptr);
        }
    }
    EXPECT_EQ(consumer->getConnectionCount(), 1U);
}

TEST_F(ReadingTurns, GoToTheReaderAtTheEnd) {
    // Nobody would take in what the server answers to the last flush, which then takes two seconds.
    // Once in a while a busy machine takes as long.
    EXPECT_TRUE(eventually([&] {
        auto consumer = makeConsumer();
        giveTurnTo(*consumer);
        const auto begin = std::chrono::steady_clock::now();
        consumer.reset();
        return std::chrono::steady_clock::now() - begin < 1900ms;
    }));
}

}  // namespace
