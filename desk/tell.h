// Telling a logger that runs already which state to make known.
#pragma once

#include <string>

#include "desk/loop/posix_signals.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Asks the logger to which the client belongs to tell its clients the state, and waits until this
/// client has been told, too. Returns the exit code; logs one clear error when nobody does it.
int tell(KRPBusClient& bus, const std::string& state, PosixSignals& signals);

}  // namespace desk
