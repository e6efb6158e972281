#include "fuzz/thread_allocations.h"

#include <sys/prctl.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string_view>

namespace {

constinit std::atomic<FailingThread> failingThread{FailingThread::Connection};
constinit std::atomic<long> left{-1};
constinit std::atomic<long> made{0};
constinit std::atomic<bool> failed{false};
constinit thread_local bool counted = false;

/// The beginning of its name.
std::string_view markOf(FailingThread thread) {
    switch (thread) {
        case FailingThread::KeepAlive:
            return "ping_run";
        case FailingThread::Bus:
            return "krpbus_";
        case FailingThread::Reader:
            return "krpbus-reader";
        case FailingThread::Connection:
            break;
    }
    return {};
}

bool isFailingThread() {
    const FailingThread thread = failingThread;
    if (thread == FailingThread::Connection) {
        return counted;
    }
    std::array<char, 16> name{};
    prctl(PR_GET_NAME, name.data(), 0, 0, 0);
    return std::string_view(name.data()).starts_with(markOf(thread));
}

bool fails() {
    if (!isFailingThread()) {
        return false;
    }
    ++made;
    if (left < 0 || left-- != 0) {
        return false;
    }
    failed = true;
    return true;
}

}  // namespace

const char* nameOf(FailingThread thread) {
    switch (thread) {
        case FailingThread::Connection:
            return "the connection's thread";
        case FailingThread::KeepAlive:
            return "the keep-alive thread";
        case FailingThread::Bus:
            return "the bus thread";
        case FailingThread::Reader:
            return "the reader";
    }
    return "";
}

void failIn(FailingThread thread, long failing) {
    failingThread = thread;
    made = 0;
    failed = false;
    left = failing;
}

long allocationsMade() {
    return made;
}

bool hasFailed() {
    return failed;
}

Counted::Counted() {
    counted = true;
}

Counted::~Counted() {
    counted = false;
}

extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __real_realloc(void* memory, std::size_t size);

/// What the project's own code asks for, the JSON library in it among it; the linker leads here.
extern "C" void* __wrap_malloc(std::size_t size) {
    return fails() ? nullptr : __real_malloc(size);
}

extern "C" void* __wrap_realloc(void* memory, std::size_t size) {
    return fails() ? nullptr : __real_realloc(memory, size);
}

void* operator new(std::size_t size) {
    void* const memory = fails() ? nullptr : __real_malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return fails() ? nullptr : __real_malloc(size != 0 ? size : 1);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
