#include "tests/modules/config/directory_fault.h"

#include <dirent.h>
#include <dlfcn.h>

#include <cerrno>

thread_local int entriesUntilFault = -1;

namespace {

template <class Entry>
Entry* next(DIR* directory, const char* function) {
    if (entriesUntilFault == 0) {
        errno = EIO;
        return nullptr;
    }
    if (entriesUntilFault > 0) {
        --entriesUntilFault;
    }
    using Function = Entry* (*)(DIR*);
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, function))(directory);
}

}  // namespace

// In the place of the system's, under both names that sources know it by.
extern "C" dirent* readdir(DIR* directory) {
    return next<dirent>(directory, "readdir");
}

extern "C" dirent64* readdir64(DIR* directory) {
    return next<dirent64>(directory, "readdir64");
}
