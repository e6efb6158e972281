// The JSON types that the project uses: the library's DOM with its memory-pool allocator, on memory
// that throws when there is none.
#pragma once

#include <rapidjson/document.h>

#include <cstddef>
#include <cstdlib>
#include <new>

/// The library's plain allocator, but throwing std::bad_alloc: the library does not look at what an
/// allocator answers and would write through a null pointer with an offset that the sender of the
/// text has chosen.
class ThrowingAllocator {
  public:
    static constexpr bool kNeedFree = true;

    void* Malloc(std::size_t size) { return size == 0 ? nullptr : given(std::malloc(size)); }

    void* Realloc(void* memory, std::size_t, std::size_t size) {
        if (size == 0) {
            std::free(memory);
            return nullptr;
        }
        return given(std::realloc(memory, size));
    }

    static void Free(void* memory) { std::free(memory); }

  private:
    static void* given(void* memory) {
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        return memory;
    }
};

using JsonPool = rapidjson::MemoryPoolAllocator<ThrowingAllocator>;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonPool, ThrowingAllocator>;
using Value = rapidjson::GenericValue<rapidjson::UTF8<>, JsonPool>;
