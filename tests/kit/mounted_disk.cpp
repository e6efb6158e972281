#include "tests/kit/mounted_disk.h"

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <system_error>

namespace {

void check(int result, const char* what) {
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/// Mounts of this thread are nobody else's from now on.
int leaveMountNamespace() {
    const int result = ::unshare(CLONE_NEWNS);
    return result != 0 ? result : ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
}

}  // namespace

MountedDisk::MountedDisk(const std::string& directory, const char* type, const char* options)
    : directory_(directory) {
    check(leaveMountNamespace(), "unshare");
    check(::mount("live-view-test", directory_.c_str(), type, 0, options), type);
}

MountedDisk::~MountedDisk() {
    ::umount2(directory_.c_str(), MNT_DETACH);
}

std::string MountedDisk::whyNot() {
    return leaveMountNamespace() == 0 ? "" : "only root can mount a file system for a test";
}
