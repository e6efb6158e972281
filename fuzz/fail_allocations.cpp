// Lets one allocation of a whole session fail after the other, alone: the session must answer, or
// end in order, and never crash.
//
//   fuzz_fail_allocations [step]
//
// Each failure has a process of its own. With a step of 1 (as it is without one) every allocation
// fails once; with 50 every fiftieth. What C++ and the JSON library ask for fails, on the session's
// thread; other libraries get what they ask for.
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/session.h"
#include "fuzz/thread_allocations.h"
#include "krpbus/messages/byte_writer.h"
#include "tests/krpbus/messages/message_samples.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view kCommands[] = {
    R"({"command":"get_logger_info"})",
    R"({"command":"get_logger_status"})",
    R"({"command":"get_ksl_network"})",
    R"({"command":"get_ksl_time_offset"})",
    R"({"command":"ping"})",
    R"({"command":"get_signal_names"})",
    R"({"command":"get_bus_names","active":1})",
    R"({"command":"busload_start"})",
    R"({"command":"get_trigger"})",
    R"({"command":"get_trigger_count"})",
    R"({"command":"set_trigger","marker_id":"door slammed, and what else there is to say about it"})",
    R"({"command":"get_audio_list"})",
    R"({"command":"upload_audio_file","name":"a rather long name","file_extension":"wav","marker_id":"m","start_time":1,"end_time":2})",
    R"({"command":"cancel_data_upload"})",
    R"({"command":"set_audio_file","audio_file":"a.wav","start_time":1,"end_time":2,"marker_id":"m"})",
    R"({"command":"get_rcmonitor_names"})",
    R"({"command":"start_monitor"})",
    R"({"command":"request_screen","index":"1"})",
    R"({"command":"generic_start_sig","signal_key":["Speed","02:00:00:00:00:01"],"interval":100})",
    R"({"command":"generic_start_sig","signal_key":{"name":"Torque of the engine"},"interval":100})",
    R"({"command":"get_configs"})",
    R"({"command":"load_config","name":"there is none of this name"})",
    R"({"command":"no_such_command_at_all"})",
    R"({"command":5})",
    R"([)",
};
constexpr std::string_view kEnds[] = {
    R"({"command":"generic_stop_sig","signal_key":["Speed","02:00:00:00:00:01"]})",
    R"({"command":"signal_forwarding_stop"})",
    R"({"command":"busload_stop"})",
    R"({"command":"stop_monitor"})",
    R"({"command":"close_webapp"})",
};

/// As the plug-in does with what its session throws.
template <class Step>
void attempt(const Step& step) {
    try {
        step();
    } catch (const std::exception&) {
        return;
    }
}

/// A session from its begin to its end. The number of its allocations.
long runSession(FuzzSession& session, const std::vector<Bytes>& messages, long failing) {
    const Counted counted;
    failIn(FailingThread::Connection, failing);
    try {
        session.begin(true);
    } catch (const std::exception&) {
        const long count = allocationsMade();
        failIn(FailingThread::Connection, -1);  // refused; what ends it is the plug-in's
        session.end();                          // constructor
        return count;
    }
    for (const std::string_view command : kCommands) {
        attempt([&] { session.text(command); });
    }
    for (const Bytes& message : messages) {
        attempt([&] { session.busMessage(message); });
    }
    attempt([&] { session.busReconnected(); });
    for (const std::string_view command : kEnds) {
        attempt([&] { session.text(command); });
    }
    // Called by a destructor: nothing may come out of it.
    [&]() noexcept { session.end(); }();
    const long count = allocationsMade();
    failIn(FailingThread::Connection, -1);
    session.begin(true);  // and the next one begins
    session.text(R"({"command":"ping"})");
    session.end();
    return count;
}

/// In a process of its own; how that ended, 0 for well.
int runApart(const std::vector<Bytes>& messages, long failing) {
    const pid_t child = fork();
    if (child == 0) {
        FuzzSession session;
        runSession(session, messages, failing);
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

std::vector<Bytes> encodedSamples() {
    std::vector<Bytes> messages;
    for (const MessageSample& sample : messageSamples()) {
        ByteWriter writer;
        sample.message->encode(writer);
        messages.emplace_back(writer.bytes().begin(), writer.bytes().end());
    }
    return messages;
}

/// The number of allocations of a session, counted in a process of its own, through a pipe.
long countAllocations(const std::vector<Bytes>& messages) {
    int ends[2] = {};
    if (pipe(ends) != 0) {
        return 0;
    }
    if (fork() == 0) {
        FuzzSession session;
        const long count = runSession(session, messages, -1);
        _exit(write(ends[1], &count, sizeof count) == sizeof count ? 0 : 1);
    }
    long count = 0;
    close(ends[1]);
    const bool told = read(ends[0], &count, sizeof count) == sizeof count;
    wait(nullptr);
    return told ? count : 0;
}

}  // namespace

int main(int argc, char** argv) {
    const long step = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1;
    FILE* const report = fdopen(dup(STDERR_FILENO), "w");
    if (step < 1 || report == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr ||
        std::freopen("/dev/null", "w", stderr) == nullptr) {
        return 2;
    }
    const std::vector<Bytes> messages = encodedSamples();
    const long count = countAllocations(messages);
    int failures = count > 100 ? 0 : 1;
    for (long failing = 0; failing < count; failing += step) {
        if (const int status = runApart(messages, failing); status != 0) {
            std::fprintf(report, "allocation %ld: the process ended with status %#x\n", failing,
                         static_cast<unsigned>(status));
            ++failures;
        }
    }
    std::fprintf(report, "%ld allocations of a session, every %ld. failed: %d crashes\n", count,
                 step, failures);
    return failures == 0 ? 0 : 1;
}
