// Lets one allocation of the code under test fail.
#pragma once

#include <cstddef>

// The next `new` of exactly this many bytes on this thread throws std::bad_alloc and sets this to
// 0; 0: none does.
extern thread_local std::size_t failingAllocationSize;
