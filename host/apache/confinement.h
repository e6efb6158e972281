#pragma once

#include "host/apache/directives.h"

namespace websocket {

/// Narrows what this process can do from its first websocket on to what the directives say: memory,
/// files, ports, system calls. False when that could not be done, which is logged: the websocket
/// must not be served then. Nothing happens, and that is success, where the process serves others
/// as well or is there for debugging.
bool confineProcess(const request_rec* request, const Directives& directives);

/// Tells, once in a start of the server, which of the confinement that the configuration asks for
/// this kernel cannot do.
void tellWhatKernelLacks(const server_rec* server);

}  // namespace websocket
