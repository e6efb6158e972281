// The mutex that everything uses, its scoped lock and its condition. Annotated, so that the
// compiler checks what each mutex guards.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "base/thread_annotations.h"

/// A non-recursive mutex. Usable before main and at exit, and as a base class.
class CAPABILITY("mutex") Mutex {
  public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    /// Tells the check that the caller holds it, where that cannot be seen. Does nothing.
    void assertHeld() const ASSERT_CAPABILITY(this) {}
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

  private:
    friend class ConditionVariable;
    std::mutex mutex_;
};

/// Holds a mutex for the length of a block, exceptions included. Within the block it can be let go
/// and taken again.
class SCOPED_CAPABILITY MutexLocker {
  public:
    explicit MutexLocker(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    /// For one that the caller holds already.
    MutexLocker(Mutex& mutex, std::adopt_lock_t) REQUIRES(mutex) : mutex_(mutex) {}
    ~MutexLocker() RELEASE() {
        if (held_) {
            mutex_.unlock();
        }
    }
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

    void unlock() RELEASE() {
        held_ = false;
        mutex_.unlock();
    }
    void lock() ACQUIRE() {
        mutex_.lock();
        held_ = true;
    }

  private:
    Mutex& mutex_;
    bool held_ = true;
};

/// What threads wait for that hold a mutex. Wake-ups without a reason happen: the caller looks
/// again.
class ConditionVariable {
  public:
    /// Lets the mutex go, waits until somebody notifies, and holds it again on return.
    void wait(Mutex& mutex) REQUIRES(mutex) {
        std::unique_lock lock(mutex.mutex_, std::adopt_lock);
        condition_.wait(lock);
        lock.release();
    }
    /// The same, at most until the time; false when that has come.
    template <class Clock, class Duration>
    bool waitUntil(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& time)
        REQUIRES(mutex) {
        std::unique_lock lock(mutex.mutex_, std::adopt_lock);
        const auto status = condition_.wait_until(lock, time);
        lock.release();
        return status == std::cv_status::no_timeout;
    }
    void notifyOne() { condition_.notify_one(); }
    void notifyAll() { condition_.notify_all(); }

  private:
    std::condition_variable condition_;
};
