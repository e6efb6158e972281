#include "threads/thread_data.h"

#include <apr_allocator.h>
#include <apr_errno.h>
#include <apr_pools.h>
#include <apr_thread_mutex.h>
#include <sys/time.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <ctime>

#include "base/kr_exception.h"
#include "base/log.h"
#include "json/kr_state.h"
#include "json/simple_response.h"
#include "setup/lv_setup.h"
#include "threads/connection_id.h"
#include "threads/thread_name.h"

namespace {

/// The wall-clock time that a call takes, as the log shows it.
class Stopwatch {
  public:
    Stopwatch() { gettimeofday(&start_, nullptr); }

    void logTime(const char* function) const {
        timeval now{};
        gettimeofday(&now, nullptr);
        const double microseconds = static_cast<double>(now.tv_sec - start_.tv_sec) * 1e6 +
                                    static_cast<double>(now.tv_usec - start_.tv_usec);
        std::array<char, 64> text{};
        const char* const end = std::to_chars(text.data(), text.data() + text.size(),
                                              microseconds / 1000.0, std::chars_format::general, 6)
                                    .ptr;
        LogUtil::logPieces(LogLevel::Debug, function, {"TIME: ", {text.data(), end}});
    }

  private:
    timeval start_{};
};

}  // namespace

ThreadData::ThreadData(LvSetup* setup, unsigned int id, const std::string& name,
                       apr_thread_start_t function)
    : setup_(setup), name_(name), id_(id), function_(function) {
    setKRPBusName(getServer());
    createPool();
}

ThreadData::~ThreadData() {
    stop_thread();
    LogUtil::logPieces(LogLevel::Debug, "~ThreadData", {"ThreadData ", name_, " deleted."});
}

/// The request's allocator serves the connection thread alone and has no lock. A thread library
/// that takes memory for the running thread from this pool must not meet it there, so the pool gets
/// an allocator of its own, with a lock.
void ThreadData::createPool() {
    apr_allocator_t* allocator = nullptr;
    apr_status_t status = apr_allocator_create(&allocator);
    if (status == APR_SUCCESS) {
        apr_pool_t* parent = setup_->socket != nullptr ? setup_->socket->pool : nullptr;
        status = apr_pool_create_ex(&pool_, parent, nullptr, allocator);
    }
    if (status != APR_SUCCESS) {
        pool_ = nullptr;
        LogUtil::log(LogLevel::Error, "ThreadData", "thread data could not be created");
        createAndSendJSON_simple(name_, KR_STATE_ERROR, KR_ERROR_CANNOT_START, "");
    } else if (pool_ == nullptr) {
        LogUtil::log(LogLevel::Error, "ThreadData", "no threadpool");
    }
    if (pool_ == nullptr) {
        if (allocator != nullptr) {
            apr_allocator_destroy(allocator);
        }
        return;
    }
    apr_allocator_owner_set(allocator, pool_);
    apr_thread_mutex_t* mutex = nullptr;
    if (apr_thread_mutex_create(&mutex, APR_THREAD_MUTEX_DEFAULT, pool_) == APR_SUCCESS) {
        apr_allocator_mutex_set(allocator, mutex);
    }
}

void ThreadData::handleMessages(const MessageBase*) {}

int ThreadData::start_thread() {
    if (pool_ == nullptr) {
        LogUtil::log(LogLevel::Error, "start_thread", "no threadpool ");
        return -1;
    }
    const Stopwatch stopwatch;
    try {
        if (createThread() != 0) {
            LogUtil::logPieces(LogLevel::Error, "start_thread",
                               {"cannot start thread for command: ", name_});
            return -1;
        }
    } catch (const KRException& e) {
        setActive(0);
        // Fixed text: nothing stands between the two.
        LogUtil::logPieces(LogLevel::Debug, "start_thread",
                           {"thread could not be started", e.what()});
        return -1;
    }
    stopwatch.logTime("start_thread");
    return 0;
}

int ThreadData::createThread() {
    apr_threadattr_t* attributes = nullptr;
    if (apr_threadattr_create(&attributes, pool_) != APR_SUCCESS ||
        apr_threadattr_detach_set(attributes, 0) != APR_SUCCESS) {
        return -1;
    }
    setActive(1);  // before the thread looks at it for the first time
    if (apr_thread_create(&thread_, attributes, function_, this, pool_) != APR_SUCCESS) {
        thread_ = nullptr;
        setActive(0);
        apr_pool_destroy(pool_);
        pool_ = nullptr;
        return -1;
    }
    return 0;
}

/// Nothing of it needs memory: a thread that was not waited for would go on in a session that has
/// ended.
void ThreadData::stop_thread() {
    const Stopwatch stopwatch;
    const std::string caller = getThreadName();
    LogUtil::logPieces(LogLevel::Debug, "stop_thread", {"stop thread: ", name_});
    LogUtil::logPieces(LogLevel::Debug, "stop_thread", {"runningThread: ", caller});

    const bool wasRunning = running_.exchange(0) != 0;
    if (thread_ == nullptr) {
        return;
    }
    // The operating-system name of a worker thread ends in the connection's number, so this is true
    // only for a thread that was given the plain name. It stays the plain name that is compared:
    // anything wider would make a session's thread end itself instead of waiting for its worker.
    if (wasRunning && caller == name_) {
        apr_thread_exit(thread_, APR_SUCCESS);
    }
    // A thread that ended by itself has cleared its flag already and is joined all the same.
    apr_status_t status = APR_SUCCESS;
    if (apr_thread_join(&status, thread_) == APR_SUCCESS) {
        thread_ = nullptr;
    }
    // What the thread returned is shown here, not whether the join went well.
    std::array<char, 256> text{};
    apr_strerror(status, text.data(), text.size());
    LogUtil::logPieces(LogLevel::Debug, "stop_thread",
                       {"stopped thread ", name_, " ", text.data()});
    stopwatch.logTime("stop_thread");
}

const _WebSocketServer* ThreadData::getServer() const {
    return setup_->socket != nullptr ? setup_->socket->server : nullptr;
}

/// The generator is seeded anew for each name: threads of one session that are made within a second
/// get the same number, and with it the same name. Sessions differ by the connection's number.
void ThreadData::setKRPBusName(const _WebSocketServer* server) {
    srand(static_cast<unsigned int>(time(nullptr)));
    busName_ = std::to_string(klv::connectionId(server)) + "_KLV" + std::to_string(rand());
    setup_->krpbus_name = busName_;
}
