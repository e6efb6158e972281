#pragma once

namespace websocket {

/// Takes from this thread, and from each one that it starts from now on, the system calls that a
/// plug-in has no use for and that an attacker would begin with: other programs, other processes,
/// namespaces, mounts, keys, the kernel's modules and its less looked-at interfaces. They fail as
/// if they were not permitted. Throws std::system_error. One thread.
void restrictSystemCalls();

}  // namespace websocket
