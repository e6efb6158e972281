// What processes take of the machine, as the kernel tells it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// The processes that a text names: "12,13", or all children of one: "children:12".
std::vector<pid_t> processesOf(const std::string& processes);

/// What threads have taken so far, over all threads of one name in a group of processes.
struct Usage {
    double seconds = 0;          // of a processor
    std::uint64_t switches = 0;  // from one thread to another, asked for or not
};

/// By the threads' names. What ends while it is looked at is left out.
using UsageByThread = std::map<std::string, Usage>;

UsageByThread usageOf(const std::vector<pid_t>& processes);

/// The bytes of memory that the processes use, each shared page counted in parts.
std::uint64_t proportionalMemory(const std::vector<pid_t>& processes);

/// What the machine had to do since this object was made. Times of arrival are worth nothing where
/// others, or the host of a virtual machine, want the processors too.
class MachineLoad {
  public:
    MachineLoad();

    /// On average, in processors.
    struct Cores {
        double stolen = 0;  // by the host of a virtual machine
        double others = 0;  // by all else that is neither measured nor this process
    };
    /// `measured`: seconds that the processes took meanwhile that are measured.
    Cores since(double measured) const;

  private:
    struct Reading {
        std::chrono::steady_clock::time_point time;
        double idle = 0;  // seconds, over all processors
        double stolen = 0;
        double own = 0;  // of this process
    };
    static Reading read();

    const Reading before_;
};
