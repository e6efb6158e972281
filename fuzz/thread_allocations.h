// Allocations of one thread, of which one fails.
#pragma once

/// The threads of a session. Those that it starts are known by their names.
enum class FailingThread { Connection, KeepAlive, Bus, Reader };

const char* nameOf(FailingThread thread);

/// From now on the process's allocations in that thread are counted, and the one with this number,
/// from 0 on, fails; with a number below 0 none does.
void failIn(FailingThread thread, long failing);

/// How many there have been.
long allocationsMade();

/// Whether the one that fails has failed.
bool hasFailed();

/// While it lives, the calling thread is the connection's, in the plug-in. What a test does besides
/// in its thread does not count.
class Counted {
  public:
    Counted();
    ~Counted();
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
};
