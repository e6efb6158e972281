// Threads that leave the process's signals alone.
#pragma once

#include <csignal>

namespace krpbus {

/// Blocks all signals of the calling thread while it lives, for the threads that are started
/// meanwhile: signals are the business of the process's own threads.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t before_{};
};

}  // namespace krpbus
