#include "plugin/lv_websocket.h"

#include <apr_pools.h>
#include <sys/time.h>

#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/log.h"
#include "modules/audio/upload_info.h"
#include "modules/module_table.h"
#include "network/ksl_info.h"
#include "threads/keep_alive.h"
#include "threads/thread_data.h"
#include "threads/thread_krpbus_lv_data.h"
#include "threads/thread_name.h"

namespace {

/// The browser's time for its next ping, counted in sleeps of one millisecond.
constexpr unsigned kPingTimeoutMilliseconds = 10000000;

constexpr const char* kDestructor = "~LvWebsocket";

void logStep(std::string_view text) {
    LogUtil::log(LogLevel::Debug, kDestructor, text);
}

template <class Step>
void attempt(const Step& step) noexcept {
    try {
        step();
    } catch (const std::exception& exception) {
        LogUtil::log(LogLevel::Error, kDestructor, exception.what());
    }
}

std::string utcNow() {
    return KRSystem::uint64ToUTCTimeString(KRSystem::getTimeOfDay(), true);
}

void writeConstructorLines() {
    const MutexLocker lock(LogUtil::logMutex);
    // Text and line end in one piece: other processes write to the same log.
    std::cout << "LvWebsocket()\n" << std::flush;
    std::cerr << "LvWebsocket()\n" << std::flush;
}

std::string millisecondsSince(const timeval& start) {
    timeval now{};
    gettimeofday(&now, nullptr);
    const double microseconds = static_cast<double>(now.tv_sec - start.tv_sec) * 1e6 +
                                static_cast<double>(now.tv_usec - start.tv_usec);
    std::ostringstream text;
    text << microseconds / 1000.0;
    return text.str();
}

/// The bus threads' objects are not freed with their sessions: a message may still be on its way to
/// one while its session ends. This is where they stay.
void keepBusThread(ThreadKrpbusLvData* thread) {
    static auto* const kept = new std::vector<ThreadKrpbusLvData*>;
    kept->push_back(thread);
}

}  // namespace

LvWebsocket::LvWebsocket() : KrWebsocket(nullptr) {}

LvWebsocket::LvWebsocket(const _WebSocketServer* server) : KrWebsocket(server) {
    writeConstructorLines();
    LogUtil::log(LogLevel::Info, "LvWebsocket", "create a new LvWebsocket");
    LogUtil::log(LogLevel::Info, "LvWebsocket", utcNow() + ": create a new LvWebsocket");
    if (setup_socket(server) != 0) {
        return;
    }
    setThreadName("live_view", server);
    try {
        lacksThreads_ = start_modules() != 0;
    } catch (...) {
        // No destructor will run for this session, but its threads use its set-up record. The
        // modules' ends must not send: a host may take nothing before on_connect has returned.
        attempt([this] { stopThreads(); });
        setup.socket->server = nullptr;
        attempt([this] { endModules(); });
        attempt([this] { closeBus(); });
        attempt([this] { destroyPool(); });
        throw;
    }
}

unsigned LvWebsocket::start_modules() {
    LogUtil::log(LogLevel::Info, "start_modules", "start threads!");
    ping_module_setup(this);
    auto pingThread =
        std::make_unique<ThreadData>(&setup, kPingTimeoutMilliseconds, "ping_run", ping_run);
    thread_ping_run = pingThread.get();
    ping_module_own(pingThread.release());
    const int pingResult = thread_ping_run->start_thread();

    threadKrpbusData = new ThreadKrpbusLvData(&setup, 0, "krpbus", krpbus_run);
    keepBusThread(threadKrpbusData);

    // No message of the bus may reach a module that has no state yet, so the bus thread starts
    // last.
    setUpModules(threadKrpbusData);

    LogUtil::log(LogLevel::Debug, "start_modules", "threadKrpbusData->start_thread()");
    const int busResult = threadKrpbusData->start_thread();
    LogUtil::log(LogLevel::Debug, "start_modules", "return");
    return static_cast<unsigned>(pingResult) | static_cast<unsigned>(busResult);
}

/// Each step is taken whatever the one before it lacked, memory for instance.
LvWebsocket::~LvWebsocket() {
    timeval start{};
    gettimeofday(&start, nullptr);
    attempt([] { LogUtil::log(LogLevel::Info, kDestructor, utcNow() + ": delete websocket"); });
    attempt([this] { stopThreads(); });
    attempt([this] { endModules(); });
    attempt([this] { releaseSharedRecords(); });
    attempt([this] { closeBus(); });
    attempt([&start] { logStep("TIME: " + millisecondsSince(start)); });
    attempt([this] { destroyPool(); });
    logStep("LvWebsocket destroyed");
}

void LvWebsocket::stopThreads() {
    logStep("stop_thread krpbus");
    if (threadKrpbusData != nullptr) {
        threadKrpbusData->stop_thread();
    }
    logStep("stop ping");
    ping_module_destroy();
    thread_ping_run = nullptr;
}

/// Every module's end tolerates a module that was never set up.
void LvWebsocket::endModules() {
    tearDownModules(logStep);
}

void LvWebsocket::releaseSharedRecords() {
    uploadfileInfo.take().reset();
    // Said at every end of a session, with or without an upload: readers of the log look for it.
    logStep("uploadfileInfo deleted");
    // Fixed by the protocol: nothing makes the network record again in this process.
    if (kslInfo != nullptr) {
        delete kslInfo;
        kslInfo = nullptr;
        logStep("kslInfo deleted");
    }
}

/// Later than the modules' ends, which still send.
void LvWebsocket::closeBus() {
    if (threadKrpbusData != nullptr) {
        threadKrpbusData->closeBus();
    }
}

void LvWebsocket::destroyPool() {
    if (setup.socket != nullptr) {
        logStep("destroy memory pool");
        apr_pool_destroy(setup.socket->pool);
        setup.socket = nullptr;
    }
}

std::uint32_t LvWebsocket::isKeepAliveActive() const {
    return thread_ping_run != nullptr ? thread_ping_run->isActive() : 0;
}
