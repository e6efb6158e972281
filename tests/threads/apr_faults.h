// Stands between the code under test and APR: lets single calls fail, and counts them.
#pragma once

#include <apr_pools.h>
#include <apr_thread_proc.h>

#include <atomic>

// What the next calls shall do; everything else goes on to APR. Set before the calls are made.
struct AprFaults {
    bool failPoolCreate = false;
    bool leavePoolNull = false;
    bool failAttrCreate = false;
    bool failDetachSet = false;
    bool failThreadCreate = false;
    int failThreadNumber = 0;  // only the creation of this thread fails, counted from 1; 0: none
    bool throwInThreadCreate = false;

    // The last pool asked for with apr_pool_create_ex, and what it was asked with.
    apr_pool_t* createdPool = nullptr;
    apr_pool_t* parent = nullptr;
    apr_allocator_t* allocator = nullptr;
    std::atomic<apr_pool_t*> destroyedPool{nullptr};
    int detached = -1;
    int threadsAskedFor = 0;
    int threadsCreated = 0;
    std::atomic<int> joins{0};
};

extern AprFaults aprFaults;
