// Lets one allocation after the other fail, alone, in one thread of a session that runs: the
// connection's, the keep-alive thread, the bus thread, or the bus client's reader. Values must go
// on to come and the session must end, with all its threads.
//
//   fuzz_fail_thread_allocations [most failures of a thread [word of the thread's name]]
//
// Each failure has a process of its own, on a real bus server. What C++ and the JSON library ask
// for fails; other libraries get what they ask for.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <thread>

#include "fuzz/thread_allocations.h"
#include "host/websocket_plugin.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/signal_message.h"
#include "plugin/plugin_callbacks.h"
#include "setup/lv_setup.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/recording_host.h"
#include "tests/krpbus/client/cutting_relay.h"
#include "tests/krpbus/messages/message_samples.h"
#include "threads/keep_alive.h"
#include "threads/thread_data.h"

/// What waits for loggers waits for nothing here: there are none. Takes the place of the library's.
void microsleep(std::uint32_t microseconds, bool) {
    std::this_thread::sleep_for(std::chrono::microseconds(std::min(microseconds, 2000U)));
}

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{20};
constexpr unsigned kLongest = 60;  // seconds, of a process
constexpr std::size_t kSideBySide = 8;
/// Behind it old values are skipped.
constexpr std::chrono::milliseconds kStandStill{1200};

/// How a process ended; 0 for well.
enum class Outcome {
    Good,
    NoBusClient,  // and so no session: the plug-in ends the process, with 1 and as it should
    NoFirstValue,
    NoValueAfterStandStill,
    NoNewConnection,
    NoValueAgain,
    ThreadsLeft,
    NotClosed
};

/// Counts what it is sent, and needs no memory for it.
class CountingHost : public RecordingHost {
  public:
    CountingHost() : RecordingHost({.connectionId = getpid()}) {}

    std::atomic<int> values{0};
    std::atomic<int> closes{0};
    std::atomic<bool> hasNoBus{false};
    std::atomic<bool> standStill{false};

  protected:
    std::size_t send(int type, const unsigned char* buffer, std::size_t size) override {
        const std::string_view text(reinterpret_cast<const char*>(buffer), size);
        if (type == WEBSOCKET_MESSAGE_CLOSE) {
            ++closes;
        } else if (text.find("\"not connected\"") != std::string_view::npos) {
            hasNoBus = true;
        } else if (text.find("signal_message") != std::string_view::npos) {
            if (standStill.exchange(false)) {
                std::this_thread::sleep_for(kStandStill);
            }
            ++values;
        }
        return size;
    }
};

template <class Condition>
bool waitFor(const Condition& condition) {
    for (const auto deadline = Clock::now() + kPatience; !condition();) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

/// To the session, by way of the bus server.
void sendToSession(std::unique_ptr<MessageBase> message) {
    stp->krpbus->sendTo("sender", stp->krpbus_name, std::move(message));
}

void sendValue() {
    auto value = std::make_unique<SignalMessage>();
    value->instanceName = "a place on a screen of the monitor";
    sendToSession(std::move(value));
}

bool valuesCome(const CountingHost& host) {
    const int before = host.values;
    return waitFor([&] {
        sendValue();
        return host.values > before;
    });
}

/// The kernel lists a thread for a moment longer than it takes to join it.
bool noThreadLeft() {
    return waitFor([] {
        const auto tasks = std::filesystem::directory_iterator("/proc/self/task");
        return std::none_of(begin(tasks), end(tasks), [](const auto& task) {
            std::string name;
            std::getline(std::ifstream(task.path() / "comm"), name);
            return name.starts_with("ping_run") || name.starts_with("krpbus");
        });
    });
}

/// A bus thread that meets no connection says so and ends; the client may have to connect again.
bool valuesComeOrNoBus(const CountingHost& host) {
    return waitFor([&] {
        sendValue();
        return host.values > 0 || host.hasNoBus;
    });
}

/// Values come, the browser stands still for a while, the connection to the bus is lost.
Outcome useSession(CountingHost& host, const WebSocketPlugin& plugin, CuttingRelay& relay) {
    std::string text = R"({"command":"ping"})";
    {
        const Counted counted;
        plugin.on_message(nullptr, host.server(), WEBSOCKET_MESSAGE_TEXT,
                          reinterpret_cast<unsigned char*>(text.data()), text.size());
    }
    for (const MessageSample& sample : messageSamples()) {
        sendToSession(sample.message->clone());
    }
    if (!valuesComeOrNoBus(host)) {
        return Outcome::NoFirstValue;
    }
    if (host.hasNoBus) {
        return Outcome::Good;
    }
    host.standStill = true;
    for (const auto end = Clock::now() + kStandStill; Clock::now() < end;) {
        sendValue();
        std::this_thread::sleep_for(20ms);
    }
    if (!valuesCome(host)) {
        return Outcome::NoValueAfterStandStill;
    }
    const std::uint32_t connections = stp->krpbus->getConnectionCount();
    relay.cutAfter(1);
    sendValue();
    if (!waitFor([&] {
            return stp->krpbus->isConnected() && stp->krpbus->getConnectionCount() > connections;
        })) {
        return Outcome::NoNewConnection;
    }
    return valuesCome(host) ? Outcome::Good : Outcome::NoValueAgain;
}

Outcome runSession(std::uint16_t port) {
    CuttingRelay relay(port);
    setenv("KRPBUS_SERVER", ("127.0.0.1:" + std::to_string(relay.port())).c_str(), 1);
    setenv("KRPBUS_MAC", "02:00:00:00:00:01", 1);
    setenv("KSL_CONFIG_FILE", "/nonexistent/network.xml", 1);
    CountingHost host;
    const WebSocketPlugin* const plugin = krwebsocket_init();
    try {
        const Counted counted;
        plugin->on_connect(host.server());
    } catch (const std::exception&) {
        return noThreadLeft() ? Outcome::Good : Outcome::ThreadsLeft;  // refused
    }
    const Outcome outcome = useSession(host, *plugin, relay);
    // Nothing may come out of it: the host's connection is about to end.
    [&]() noexcept {
        const Counted counted;
        plugin->on_disconnect(nullptr, host.server());
    }();
    if (outcome != Outcome::Good) {
        return outcome;
    }
    return noThreadLeft() ? Outcome::Good : Outcome::ThreadsLeft;
}

/// A browser that sends no ping.
Outcome runKeepAlive() {
    CountingHost host;
    LvSocket socket{host.server(), host.requestPool(), "", ""};
    LvSetup setup;
    setup.socket = &socket;
    stp = &setup;
    ThreadData thread(&setup, 5, "ping_run", ping_run);
    thread.start_thread();
    return waitFor([&] { return host.closes > 0; }) ? Outcome::Good : Outcome::NotClosed;
}

/// In a process of its own, which writes its number of allocations into the pipe.
pid_t beginApart(FailingThread thread, long failing, std::uint16_t port, int pipe) {
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(kLongest);
        failIn(thread, failing);
        const Outcome outcome =
            thread == FailingThread::KeepAlive ? runKeepAlive() : runSession(port);
        const long count = allocationsMade();
        if (pipe >= 0 && write(pipe, &count, sizeof count) != sizeof count) {
            _exit(127);
        }
        _exit(static_cast<int>(outcome));
    }
    return child;
}

long countAllocations(FailingThread thread, std::uint16_t port) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        return 0;
    }
    beginApart(thread, -1, port, ends[1]);
    close(ends[1]);
    long count = 0;
    const bool told = read(ends[0], &count, sizeof count) == sizeof count;
    close(ends[0]);
    int status = -1;
    wait(&status);
    return told && status == 0 ? count : 0;
}

/// The failures of one thread, several side by side: they wait most of the time.
class Failures {
  public:
    Failures(FailingThread thread, std::uint16_t port, FILE* report)
        : thread_(thread), port_(port), report_(report) {}

    void begin(long failing) {
        if (running_.size() >= kSideBySide) {
            awaitOne();
        }
        running_[beginApart(thread_, failing, port_, -1)] = failing;
        ++begun_;
    }

    void awaitAll() {
        while (!running_.empty()) {
            awaitOne();
        }
    }

    int begun() const { return begun_; }
    int bad() const { return bad_; }

  private:
    void awaitOne() {
        int status = -1;
        const pid_t child = wait(&status);
        const auto entry = running_.find(child);
        if (entry == running_.end()) {
            return;
        }
        if (!isGood(status)) {
            std::fprintf(report_, "%s, allocation %ld: %s %d\n", nameOf(thread_), entry->second,
                         WIFSIGNALED(status) ? "ended by signal" : "outcome",
                         WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
            ++bad_;
        }
        running_.erase(entry);
    }

    bool isGood(int status) const {
        return status == 0 || (thread_ == FailingThread::Connection && WIFEXITED(status) &&
                               WEXITSTATUS(status) == static_cast<int>(Outcome::NoBusClient));
    }

    const FailingThread thread_;
    const std::uint16_t port_;
    FILE* const report_;
    std::map<pid_t, long> running_;
    int begun_ = 0;
    int bad_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    const long most = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1'000'000;
    const std::string_view word = argc > 2 ? argv[2] : "";
    FILE* const report = fdopen(dup(STDERR_FILENO), "w");
    if (most < 1 || report == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr ||
        std::freopen("/dev/null", "w", stderr) == nullptr) {
        return 2;
    }
    const NatsServer nats;
    int bad = 0;
    for (const FailingThread thread : {FailingThread::KeepAlive, FailingThread::Reader,
                                       FailingThread::Bus, FailingThread::Connection}) {
        if (std::string_view(nameOf(thread)).find(word) == std::string_view::npos) {
            continue;
        }
        const long count = countAllocations(thread, nats.port());
        const long step = count / most + 1;
        Failures failures(thread, nats.port(), report);
        for (long failing = 0; failing < count; failing += step) {
            failures.begin(failing);
        }
        failures.awaitAll();
        std::fprintf(report, "%s: %ld allocations, %d failed: %d bad ends\n", nameOf(thread), count,
                     failures.begun(), failures.bad());
        bad += failures.bad() + (count > 0 ? 0 : 1);
    }
    return bad == 0 ? 0 : 1;
}
