#pragma once

#include <cstdint>

#include "base/file_descriptor.h"
#include "host/apache/module.h"

namespace websocket {

/// One of the server's websockets, for as long as this lives, or its process does: the system takes
/// the place back however the process ends.
class Place {
  public:
    Place() = default;

    bool taken() const { return lock_.get() >= 0; }

  private:
    friend class Places;
    explicit Place(base::FileDescriptor lock) : lock_(std::move(lock)) {}

    base::FileDescriptor lock_;
};

/// The places of all websockets of a server, shared by its processes. A graceful restart begins
/// with none taken.
class Places {
  public:
    /// Makes them, once in a start of the server and before it makes processes. False when the
    /// system refuses, with the reason in errno.
    static bool make(apr_pool_t* pool);

    /// Takes a place for a client, unless `most` websockets are there already, or `mostPerAddress`
    /// from his address; 0 is no limit. Waits for others who do the same at the moment. Throws
    /// std::system_error. Any thread.
    static Place take(const char* address, std::uint32_t most, std::uint32_t mostPerAddress);
};

}  // namespace websocket
