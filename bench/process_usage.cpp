#include "bench/process_usage.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

/// The state and the parent's id, which stand behind the name.
pid_t parentOf(const fs::path& process) {
    std::ifstream stream(process / "stat");
    std::string line;
    std::getline(stream, line);
    std::istringstream behindName(line.substr(std::min(line.rfind(')') + 1, line.size())));
    std::string state;
    pid_t parent = -1;
    behindName >> state >> parent;
    return parent;
}

std::vector<pid_t> childrenOf(pid_t parent) {
    std::vector<pid_t> children;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos &&
            parentOf(entry.path()) == parent) {
            children.push_back(std::stoi(name));
        }
    }
    return children;
}

/// The number behind a word that begins a line of the file, summed up over all such lines.
std::uint64_t sumOf(const fs::path& file, std::string_view word) {
    std::ifstream stream(file);
    std::uint64_t sum = 0;
    for (std::string line; std::getline(stream, line);) {
        if (std::string_view(line).starts_with(word)) {
            sum += std::stoull(line.substr(word.size()));
        }
    }
    return sum;
}

fs::path directoryOf(pid_t process) {
    return fs::path("/proc") / std::to_string(process);
}

Usage usageOfThread(const fs::path& thread) {
    Usage usage;
    std::uint64_t nanoseconds = 0;
    std::ifstream(thread / "schedstat") >> nanoseconds;
    usage.seconds = 1e-9 * static_cast<double>(nanoseconds);
    usage.switches = sumOf(thread / "status", "voluntary_ctxt_switches:") +
                     sumOf(thread / "status", "nonvoluntary_ctxt_switches:");
    return usage;
}

}  // namespace

std::vector<pid_t> processesOf(const std::string& processes) {
    static const std::string kChildren = "children:";
    if (processes.starts_with(kChildren)) {
        return childrenOf(std::stoi(processes.substr(kChildren.size())));
    }
    std::vector<pid_t> ids;
    std::istringstream list(processes);
    for (std::string id; std::getline(list, id, ',');) {
        ids.push_back(std::stoi(id));
    }
    return ids;
}

UsageByThread usageOf(const std::vector<pid_t>& processes) {
    UsageByThread byThread;
    std::error_code gone;
    for (const pid_t process : processes) {
        for (fs::directory_iterator thread(directoryOf(process) / "task", gone), end;
             !gone && thread != end; thread.increment(gone)) {
            std::string name;
            std::getline(std::ifstream(thread->path() / "comm"), name);
            const Usage usage = usageOfThread(thread->path());
            byThread[name].seconds += usage.seconds;
            byThread[name].switches += usage.switches;
        }
    }
    return byThread;
}

std::uint64_t proportionalMemory(const std::vector<pid_t>& processes) {
    std::uint64_t kilobytes = 0;
    for (const pid_t process : processes) {
        kilobytes += sumOf(directoryOf(process) / "smaps_rollup", "Pss:");
    }
    return kilobytes * 1024;
}

MachineLoad::MachineLoad() : before_(read()) {}

/// What is not idle is busy: the kernel knows idle time exactly, and samples the rest.
MachineLoad::Cores MachineLoad::since(double measured) const {
    const Reading now = read();
    const double length = std::chrono::duration<double>(now.time - before_.time).count();
    const double all = static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN)) * length;
    const double busy = all - (now.idle - before_.idle);
    const double others = busy - measured - (now.own - before_.own);
    return {(now.stolen - before_.stolen) / length, std::max(0.0, others / length)};
}

MachineLoad::Reading MachineLoad::read() {
    std::ifstream stream("/proc/stat");
    std::string word;
    stream >> word;
    double user = 0, nice = 0, system = 0, idle = 0, wait = 0, irq = 0, softirq = 0, stolen = 0;
    stream >> user >> nice >> system >> idle >> wait >> irq >> softirq >> stolen;
    const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
    timespec own{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
    return {std::chrono::steady_clock::now(), (idle + wait) / ticks, stolen / ticks,
            static_cast<double>(own.tv_sec) + 1e-9 * static_cast<double>(own.tv_nsec)};
}
