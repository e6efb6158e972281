#include "host/apache/termination_signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include "host/apache/module.h"

extern "C" {
#include <ap_mpm.h>
#include <mpm_common.h>
}

namespace websocket {

namespace {

constexpr int kSignals[] = {SIGTERM, SIGHUP, AP_SIG_GRACEFUL};

bool isIgnored(int number) {
    struct sigaction action {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

bool TerminationSignals::processIsOurs() {
    int threaded = 0;
    int forked = 0;
    ap_mpm_query(AP_MPMQ_IS_THREADED, &threaded);
    ap_mpm_query(AP_MPMQ_IS_FORKED, &forked);
    return threaded == AP_MPMQ_NOT_SUPPORTED && forked != AP_MPMQ_NOT_SUPPORTED;
}

TerminationSignals::TerminationSignals() {
    sigemptyset(&held_);
    sigemptyset(&received_);
    if (!processIsOurs()) {
        return;
    }
    for (const int number : kSignals) {
        if (!isIgnored(number)) {
            sigaddset(&held_, number);
        }
    }
    if (pthread_sigmask(SIG_BLOCK, &held_, &before_) != 0) {
        return;
    }
    descriptor_ = signalfd(-1, &held_, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
}

TerminationSignals::~TerminationSignals() {
    release();
}

bool TerminationSignals::taken() {
    signalfd_siginfo info{};
    while (descriptor_ >= 0 && read(descriptor_, &info, sizeof info) == sizeof info) {
        sigaddset(&received_, static_cast<int>(info.ssi_signo));
        any_ = true;
    }
    return any_;
}

void TerminationSignals::release() {
    if (descriptor_ < 0) {
        return;
    }
    close(descriptor_);
    descriptor_ = -1;
    if (retired_) {
        sigset_t graceful;
        sigemptyset(&graceful);
        sigaddset(&graceful, AP_SIG_GRACEFUL);
        pthread_sigmask(SIG_UNBLOCK, &graceful, nullptr);
        return;
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    for (const int number : kSignals) {
        if (sigismember(&received_, number) == 1) {
            raise(number);
        }
    }
}

bool TerminationSignals::processEndsAfterwards() {
    struct sigaction action {};
    // Only where the server handles it: without a handler the signal would end the process at once
    // (as it would when the server runs as one process for debugging).
    return processIsOurs() && sigaction(AP_SIG_GRACEFUL, nullptr, &action) == 0 &&
           action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN;
}

void TerminationSignals::retireProcess() {
    if (processEndsAfterwards()) {
        // Taken when the signals are let through again.
        raise(AP_SIG_GRACEFUL);
        retired_ = true;
    }
}

}  // namespace websocket
