// Which bus server a client connects to.
#pragma once

#include <cstdint>
#include <string>

namespace krpbus {

/// The NATS URL for a client that was given this host and port. With an empty host it is the
/// environment's KRPBUS_SERVER ("host", "host:port" or a whole URL) or else 127.0.0.1.
std::string serverUrl(const std::string& host, unsigned short port);

/// A server as it may stand in a log: without the user, password or token of a URL.
std::string withoutCredentials(const std::string& server);

/// The port that a NATS URL names; NATS's own, 4222, where it names none.
std::uint16_t serverPort(const std::string& url);

}  // namespace krpbus
