#pragma once

#include <string>
#include <vector>

#include "host/apache/directives.h"

namespace websocket {

/// What the opening handshake of a client asked for.
struct Handshake {
    std::string accept;                  ///< value of Sec-WebSocket-Accept
    std::vector<std::string> protocols;  ///< sub-protocols offered, in the client's order
};

/// Checks a request as RFC 6455 section 4.2.1 asks for, and its Origin. Answers OK, or the HTTP
/// status to refuse it with; headers that belong to that answer are set, the reason is logged.
int checkHandshake(request_rec* request, const Directives& directives, Handshake& handshake);

/// The whole answer that accepts the handshake, up to its empty line: with the sub-protocol where
/// one was chosen, and with the headers that the plug-in and other modules have set for the answer.
std::string handshakeAnswer(const request_rec* request, const Handshake& handshake,
                            const std::string& protocol);

/// Whether a plug-in may set this header of the answer: those of the handshake itself are the
/// host's.
bool mayBeSet(const std::string& name, const std::string& value);

}  // namespace websocket
