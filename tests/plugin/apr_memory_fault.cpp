#include "tests/plugin/apr_memory_fault.h"

#include <apr_pools.h>
#include <dlfcn.h>

std::atomic<std::size_t> failingAprAllocationSize{0};

extern "C" {

#pragma GCC visibility push(default)

void* apr_palloc(apr_pool_t* pool, apr_size_t size) {
    if (size != 0 && size == failingAprAllocationSize) {
        return nullptr;
    }
    return reinterpret_cast<decltype(&apr_palloc)>(dlsym(RTLD_NEXT, "apr_palloc"))(pool, size);
}

#pragma GCC visibility pop

}  // extern "C"
