#include "tests/threads/apr_faults.h"

#include <apr_portable.h>
#include <dlfcn.h>

#include <cerrno>

#include "base/kr_exception.h"

AprFaults aprFaults;

namespace {

template <class Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

#pragma GCC visibility push(default)

apr_status_t apr_pool_create_ex(apr_pool_t** pool, apr_pool_t* parent, apr_abortfunc_t abort,
                                apr_allocator_t* allocator) {
    aprFaults.parent = parent;
    aprFaults.allocator = allocator;
    if (aprFaults.failPoolCreate) {
        return APR_ENOMEM;
    }
    if (aprFaults.leavePoolNull) {
        *pool = nullptr;
        return APR_SUCCESS;
    }
    const apr_status_t status =
        next(apr_pool_create_ex, "apr_pool_create_ex")(pool, parent, abort, allocator);
    aprFaults.createdPool = *pool;
    return status;
}

void apr_pool_destroy(apr_pool_t* pool) {
    aprFaults.destroyedPool = pool;
    next(apr_pool_destroy, "apr_pool_destroy")(pool);
}

apr_status_t apr_threadattr_create(apr_threadattr_t** attributes, apr_pool_t* pool) {
    return aprFaults.failAttrCreate
               ? APR_ENOMEM
               : next(apr_threadattr_create, "apr_threadattr_create")(attributes, pool);
}

apr_status_t apr_threadattr_detach_set(apr_threadattr_t* attributes, apr_int32_t on) {
    aprFaults.detached = on;
    return aprFaults.failDetachSet
               ? APR_EINVAL
               : next(apr_threadattr_detach_set, "apr_threadattr_detach_set")(attributes, on);
}

apr_status_t apr_thread_create(apr_thread_t** thread, apr_threadattr_t* attributes,
                               apr_thread_start_t function, void* data, apr_pool_t* pool) {
    if (aprFaults.throwInThreadCreate) {
        throw KRException("no room");
    }
    if (aprFaults.failThreadCreate || ++aprFaults.threadsAskedFor == aprFaults.failThreadNumber) {
        return APR_ENOTHREAD;
    }
    ++aprFaults.threadsCreated;
    return next(apr_thread_create, "apr_thread_create")(thread, attributes, function, data, pool);
}

apr_status_t apr_thread_join(apr_status_t* result, apr_thread_t* thread) {
    ++aprFaults.joins;
    apr_os_thread_t* self = nullptr;
    if (apr_os_thread_get(&self, thread) == APR_SUCCESS && pthread_equal(*self, pthread_self())) {
        return EDEADLK;  // as the system would answer; a sanitizer would not let us ask it
    }
    return next(apr_thread_join, "apr_thread_join")(result, thread);
}

#pragma GCC visibility pop
}
