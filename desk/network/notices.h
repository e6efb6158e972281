// What a logger tells all of its clients without being asked.
#pragma once

#include <string>

#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Tells every client of the logger a state like "1-config", "8-loggerOff" or "3-stop".
void sendStateNotice(KRPBusClient& bus, const std::string& state);

/// Tells every client of the logger that the logger network has changed.
void sendNetworkNotice(KRPBusClient& bus, const std::string& text);

}  // namespace desk
