#pragma once

#include <cstdint>
#include <string>

#include "base/file_descriptor.h"

namespace websocket {

/// What a thread, and each one that it starts from then on, may still do with files and TCP ports:
/// nothing but what was allowed before `enforce`. Descriptors that are open already stay usable.
/// Needs no privileges. One thread.
class Landlock {
  public:
    enum class Access {
        Read,   ///< read files and list directories
        Make,   ///< make, write and remove files; neither read nor list what is there
        Write,  ///< both, and make and remove directories
    };

    /// Which version of this the kernel has; 0 for none.
    static int version();

    /// Forbids everything with files, and with `ports` to bind and connect TCP sockets, which
    /// kernels before version 4 cannot. Throws std::system_error.
    explicit Landlock(bool ports);

    /// Allows it for this file, or this directory and everything below. A path that is not there is
    /// passed over. Throws std::system_error.
    void allow(const std::string& path, Access access);

    /// Allows connecting to this TCP port, on whichever machine. Nothing where ports are not
    /// restricted. Throws std::system_error.
    void allowConnect(std::uint16_t port);

    /// From now on it holds, for good. Throws std::system_error.
    void enforce();

  private:
    int version_;
    std::uint64_t handledFiles_ = 0;
    bool handlesPorts_ = false;
    base::FileDescriptor rules_;
};

}  // namespace websocket
