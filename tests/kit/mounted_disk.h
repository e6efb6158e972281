// A file system of a test's own.
#pragma once

#include <string>

/// Mounts a file system over an existing directory, for this thread alone, and takes it away
/// again. Needs root: where `whyNot` has a reason, a test skips itself with it. Throws
/// std::system_error when it cannot be mounted all the same. Once a process.
class MountedDisk {
  public:
    /// "tmpfs" with the option "size=64k" is full soon; "ramfs" cannot reserve room.
    MountedDisk(const std::string& directory, const char* type, const char* options = "");
    ~MountedDisk();
    MountedDisk(const MountedDisk&) = delete;
    MountedDisk& operator=(const MountedDisk&) = delete;

    /// Why no file system can be mounted here; empty where one can.
    static std::string whyNot();

  private:
    const std::string directory_;
};
