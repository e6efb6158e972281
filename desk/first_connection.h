// The first connection to the bus server.
#pragma once

#include <memory>
#include <string>

#include "desk/loop/posix_signals.h"
#include "desk/options.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Whether, and if not why not, there is a connection.
struct FirstConnection {
    std::unique_ptr<KRPBusClient> client;  // null: end with the code
    int exitCode = kExitOk;
};

/// Connects a client of that name on the logger's bus; tries for as long as the address says. Logs
/// one clear error when the bus server stays away. A signal to end stops it.
FirstConnection connectToBus(const std::string& name, const std::string& mac,
                             const BusAddress& address, PosixSignals& signals);

}  // namespace desk
