#include "threads/keep_alive.h"

#include <sched.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <string>

#include "base/clock.h"
#include "base/log.h"
#include "json/kr_state.h"
#include "json/simple_response.h"
#include "json/websocket_send.h"
#include "threads/thread_data.h"
#include "threads/thread_name.h"

namespace {

/// The module's state is never destroyed: the keep-alive thread may still be running while the
/// process exits.
constinit KrWebsocket* session = nullptr;
constinit std::atomic<ThreadData*> pingThread{nullptr};
constinit std::atomic<bool> pingReceived{false};

/// Waits until a ping arrives, the thread is to stop, or the time-out has passed; true in the last
/// case alone. The time-out counts sleeps, not time: it stretches when the machine is busy.
bool waitingPeriodPassed(const ThreadData& thread) {
    pingReceived = false;
    unsigned int counter = 0;
    while (counter < thread.getId()) {
        usleep(1000);
        if (pingReceived) {
            return false;
        }
        ++counter;
        if (thread.isActive() == 0) {
            pingReceived = true;  // a thread that is told to stop reports no time-out
            break;
        }
    }
    return !pingReceived;
}

/// It wakes a thousand times a second, in each browser's process, and never for anything urgent: it
/// takes the processor from nobody, and wakes together with the keep-alives of other browsers where
/// a quarter of a millisecond is enough for that. Where the system does not allow it, it does not.
void keepOutOfTheWay() {
    constexpr unsigned long kSlack = 250'000;  // nanoseconds
    prctl(PR_SET_TIMERSLACK, kSlack);
    const sched_param none{};
    sched_setscheduler(0, SCHED_BATCH, &none);
}

/// Empty where there is no memory for it.
std::string utcNow() {
    try {
        return KRSystem::uint64ToUTCTimeString(KRSystem::getTimeOfDay(), true);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

void closeConnection(ThreadData& thread) {
    LogUtil::logPieces(LogLevel::Info, "ping_run",
                       {utcNow(), ": no ping received, so stop websocket"});
    LogUtil::log(LogLevel::Debug, "ping_run", "pingRunData->setActive(0)");
    thread.setActive(0);
    LogUtil::log(LogLevel::Debug, "ping_run",
                 "stop webapp: send close frame -> krwebsocket_on_disconnect");
    closeWebwsocket();
}

void watch(ThreadData& thread) {
    if (thread.getId() == 0) {
        // Fixed by the protocol: without any time for a ping the connection is closed at once.
        LogUtil::log(LogLevel::Error, "ping_run", "ping timeout not valid 0");
    }
    while (thread.isActive() != 0) {
        if (waitingPeriodPassed(thread)) {
            closeConnection(thread);
        }
    }
}

}  // namespace

int ping_module_setup(KrWebsocket* newSession) {
    LogUtil::log(LogLevel::Debug, "ping_module_setup", "setup ping module");
    session = newSession;
    return 0;
}

void ping_module_own(ThreadData* thread) {
    pingThread = thread;
}

/// A lack of memory changes nothing in it: it needs none but for the time in its log.
void* ping_run(apr_thread_t*, void* data) {
    LogUtil::redirectOutputToError();
    LogUtil::log(LogLevel::Debug, "ping_run", "starting ping thread");
    auto* thread = static_cast<ThreadData*>(data);
    pingThread = thread;
    if (thread == nullptr) {
        LogUtil::log(LogLevel::Error, "ping_run", "no thread data");
    } else {
        keepOutOfTheWay();
        setThreadName(thread->getName(), thread->getServer());
        watch(*thread);
    }
    LogUtil::log(LogLevel::Debug, "ping_run", "ping  thread stopped");
    return nullptr;
}

void sendPing() {
    if (pingThread == nullptr) {
        return;
    }
    createAndSendJSON_simple("ping", KR_STATE_OK, KR_ERROR_TODO, "");
    pingReceived = true;
}

int ping_module_destroy() {
    LogUtil::log(LogLevel::Debug, "ping_module_destroy", "stop ping thread");
    ThreadData* thread = pingThread;
    if (thread == nullptr) {
        return 0;
    }
    LogUtil::logPieces(LogLevel::Debug, "ping_module_destroy", {"stop ping ", thread->getName()});
    thread->stop_thread();
    pingThread = nullptr;
    delete thread;
    LogUtil::log(LogLevel::Debug, "ping_module_destroy", "ping module destroyed");
    return 0;
}
