#include "tests/base/reserving_fault.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

thread_local off_t roomForFile = -1;

namespace {

int reserve(const char* function, int file, int mode, off_t offset, off_t length) {
    if (roomForFile >= 0) {
        errno = ::ftruncate(file, roomForFile) == 0 ? ENOSPC : errno;
        return -1;
    }
    using Function = int (*)(int, int, off_t, off_t);
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, function))(file, mode, offset, length);
}

}  // namespace

// In the place of the system's, under the name that sources with a 64-bit off_t know it by.
extern "C" int fallocate64(int file, int mode, off_t offset, off_t length) {
    return reserve("fallocate64", file, mode, offset, length);
}
