#include "tests/kit/probe_attempts.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <system_error>
#include <thread>

namespace {

std::string told(bool worked) {
    return worked ? "ok" : strerrorname_np(errno);
}

std::string opened(const std::string& path, int flags) {
    const int fd = ::open(path.c_str(), flags | O_CLOEXEC, 0644);
    const std::string result = told(fd >= 0);
    if (fd >= 0) {
        ::close(fd);
    }
    return result;
}

std::string listed(const std::string& path) {
    DIR* directory = ::opendir(path.c_str());
    const std::string result = told(directory != nullptr);
    if (directory != nullptr) {
        ::closedir(directory);
    }
    return result;
}

std::string connected(const std::string& port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port)));
    const std::string result =
        told(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
    ::close(fd);
    return result;
}

/// A child process that ends at once, made with these flags.
std::string cloned(long flags) {
    const long pid = ::syscall(SYS_clone, flags | SIGCHLD, nullptr, nullptr, nullptr, nullptr);
    if (pid == 0) {
        ::_exit(0);
    }
    return told(pid > 0);
}

std::string threadStarted(const std::string&) {
    try {
        std::thread([] {}).join();
        return "ok";
    } catch (const std::system_error& e) {
        return strerrorname_np(e.code().value());
    }
}

/// Takes so many bytes and uses them.
std::string memoryTaken(const std::string& size) {
    void* block = std::malloc(std::stoul(size));
    const std::string result = told(block != nullptr);
    if (block != nullptr) {
        std::memset(block, 1, std::stoul(size));
    }
    std::free(block);
    return result;
}

template <typename... Arguments>
std::string called(long number, Arguments... arguments) {
    return told(::syscall(number, arguments...) >= 0);
}

using Attempt = std::string (*)(const std::string&);

const std::map<std::string, Attempt>& attempts() {
    static const auto* all = new std::map<std::string, Attempt>{
        {"read", [](const std::string& path) { return opened(path, O_RDONLY); }},
        {"make", [](const std::string& path) { return opened(path, O_WRONLY | O_CREAT); }},
        {"cut", [](const std::string& path) { return told(::truncate(path.c_str(), 0) == 0); }},
        {"list", listed},
        {"remove", [](const std::string& path) { return told(std::remove(path.c_str()) == 0); }},
        {"mkdir", [](const std::string& path) { return told(::mkdir(path.c_str(), 0755) == 0); }},
        {"connect", connected},
        {"exec",
         [](const std::string& path) { return told(::execl(path.c_str(), "x", nullptr) == 0); }},
        {"ptrace", [](const std::string&) { return told(::ptrace(PTRACE_TRACEME, 0, 0, 0) == 0); }},
        {"mount",
         [](const std::string&) { return told(::mount("", "/", "", MS_REMOUNT, "") == 0); }},
        {"unshare", [](const std::string&) { return told(::unshare(CLONE_NEWUSER) == 0); }},
        {"clone", [](const std::string&) { return cloned(0); }},
        {"clone-user", [](const std::string&) { return cloned(CLONE_NEWUSER); }},
        {"clone3", [](const std::string&) { return called(SYS_clone3, nullptr, 0); }},
        {"bpf", [](const std::string&) { return called(SYS_bpf, 99, nullptr, 0); }},
        {"io_uring", [](const std::string&) { return called(SYS_io_uring_setup, 0, nullptr); }},
        {"keyctl", [](const std::string&) { return called(SYS_keyctl, 99, 0, 0, 0, 0); }},
        {"thread", threadStarted},
        {"memory", memoryTaken},
    };
    return *all;
}

}  // namespace

std::string attempt(std::istream& words) {
    std::string name;
    std::string argument;
    words >> name >> argument;
    const auto found = attempts().find(name);
    return found == attempts().end() ? "no such attempt" : found->second(argument);
}
