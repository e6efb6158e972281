#pragma once

#include <cstddef>
#include <cstdint>

namespace websocket {

/// The close codes that this host sends.
enum CloseCode : std::uint16_t {
    kCloseNone = 0,
    kCloseNormal = 1000,
    kCloseGoingAway = 1001,
    kCloseProtocolError = 1002,
    kCloseInvalidText = 1007,
    kCloseTooBig = 1009,
    kCloseInternalError = 1011,
};

/// Whether a peer may send this code in a close frame: those that RFC 6455 defines for the
/// wire, and the ranges of libraries and applications (3000 to 4999).
bool isValidCloseCode(unsigned code);

/// Looks at the payload of a close frame that was received. Answers `kCloseNone` when it is in
/// order (an empty one is) and otherwise the code to fail the connection with.
CloseCode checkClosePayload(const std::uint8_t* payload, std::size_t size);

}  // namespace websocket
