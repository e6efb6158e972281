// Threads that have time.
#pragma once

#include <sched.h>

/// While it lives, threads that the calling thread starts are such that never take the processor
/// from another one when they are woken; so is the calling thread itself. The NATS client's own
/// threads: one of them frees messages, and would interrupt whoever gives it some at each of them.
class BackgroundThreads {
  public:
    BackgroundThreads() : before_(sched_getscheduler(0)) {
        if (before_ == SCHED_OTHER) {
            set(SCHED_BATCH);
        }
    }
    ~BackgroundThreads() {
        if (before_ == SCHED_OTHER) {
            set(SCHED_OTHER);
        }
    }
    BackgroundThreads(const BackgroundThreads&) = delete;
    BackgroundThreads& operator=(const BackgroundThreads&) = delete;

  private:
    /// Where the system does not allow it, it stays as it was.
    static void set(int policy) {
        const sched_param none{};
        sched_setscheduler(0, policy, &none);
    }

    const int before_;
};
