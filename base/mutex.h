// The plain mutex that modules and the bus client share, and its scoped lock.
#pragma once

#include <mutex>

// A non-recursive mutex. Usable with the standard locks and as a base class.
class Mutex {
  public:
    Mutex() = default;
    virtual ~Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }
    bool try_lock() { return mutex_.try_lock(); }

  private:
    std::mutex mutex_;
};

// Holds a mutex for the length of a block, exceptions included.
using MutexLocker = std::lock_guard<Mutex>;
