// What processes take of the machine, as the kernel tells it.
#pragma once

#include <sys/types.h>

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
