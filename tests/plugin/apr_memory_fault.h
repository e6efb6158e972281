// Lets the allocation of a session's socket record fail.
#pragma once

#include <atomic>
#include <cstddef>

// apr_palloc of exactly this many bytes gives null; 0: none does.
extern std::atomic<std::size_t> failingAprAllocationSize;
