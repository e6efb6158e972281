#pragma once

#include <csignal>

namespace websocket {

/// Holds back the signals that end a child process while it serves a websocket, so that the session
/// is ended in order first: the server's own handlers would tear memory down under running threads.
/// Threads that are started meanwhile inherit the blocked signals.
///
/// Only for processes that serve one connection at a time on their main thread; elsewhere the
/// signals are not this connection's business and nothing is held back.
class TerminationSignals {
  public:
    TerminationSignals();
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Readable when a signal has come; -1 when none are held back.
    int descriptor() const { return descriptor_; }

    /// Takes signals that have come; true when there was one, now or before.
    bool taken();

    /// Lets signals through again, and those that were taken have their usual effect. A process
    /// that retires keeps the hard ones held back until it has ended: Apache's handlers free the
    /// process's memory wherever it stands, and in the midst of the connection's end that corrupts
    /// the heap.
    void release();

    /// Has this process end once the present connection is over. Nothing happens where the server
    /// does not run as one process for each connection.
    void retireProcess();

    /// Whether this process serves one connection at a time, on its main thread.
    static bool processIsOurs();

    /// Whether this process ends after its websocket: it serves one connection at a time and the
    /// server will put another in its place. Not so where the server runs as one process for
    /// debugging.
    static bool processEndsAfterwards();

  private:
    int descriptor_ = -1;
    sigset_t held_{};
    sigset_t before_{};
    sigset_t received_{};
    bool any_ = false;
    bool retired_ = false;
};

}  // namespace websocket
