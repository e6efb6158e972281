#include "tests/plugin/allocation_fault.h"

#include <cstdlib>
#include <new>

thread_local std::size_t failingAllocationSize = 0;

void* operator new(std::size_t size) {
    if (size != 0 && size == failingAllocationSize) {
        failingAllocationSize = 0;
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

// All forms come from here, so that a sanitizer sees each block given back the way it was taken.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size != 0 ? size : 1);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
