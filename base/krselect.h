// Waiting on descriptors, in the shape of pselect but for descriptors of any number.
#pragma once

#include <csignal>
#include <ctime>
#include <vector>

/// A set of descriptors. Unlike fd_set it has no largest descriptor. Not thread-safe.
class FdSet {
  public:
    /// Adds a descriptor; a negative or known one changes nothing.
    void set(int fd);
    /// Takes a descriptor out; an unknown one changes nothing.
    void clear(int fd);
    bool isSet(int fd) const;
    void zero() { fds_.clear(); }
    const std::vector<int>& descriptors() const { return fds_; }

  private:
    std::vector<int> fds_;
};

/// Waits until a descriptor of one of the sets is ready, the time-out (null: none) has passed or a
/// signal came; `signalMask` (may be null) holds meanwhile. Each set may be null. On return the
/// sets hold the ready descriptors only. A descriptor that has hung up or is in error counts as
/// readable and writable where it was asked for. Returns the number of ready descriptors over all
/// sets, 0 after the time-out (all sets are empty then), or -1 with errno (the sets are left
/// alone); a closed descriptor gives EBADF.
int krselect(FdSet* readSet, FdSet* writeSet, FdSet* errorSet, const timespec* timeout,
             const sigset_t* signalMask);
