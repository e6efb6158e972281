#include "host/protocol/close_code.h"

#include "base/utf8.h"

namespace websocket {

bool isValidCloseCode(unsigned code) {
    if (code >= 3000 && code <= 4999) {
        return true;
    }
    // 1004 has no meaning yet; 1005, 1006 and 1015 tell an application what happened and never
    // travel; the others below 3000 are kept for the protocol itself.
    return (code >= 1000 && code <= 1003) || (code >= 1007 && code <= 1011);
}

CloseCode checkClosePayload(const std::uint8_t* payload, std::size_t size) {
    if (size == 0) {
        return kCloseNone;
    }
    if (size == 1) {
        return kCloseProtocolError;
    }
    if (!isValidCloseCode(static_cast<unsigned>(payload[0]) << 8 | payload[1])) {
        return kCloseProtocolError;
    }
    base::Utf8Validator reason;
    if (!reason.feed(payload + 2, size - 2) || !reason.complete()) {
        return kCloseInvalidText;
    }
    return kCloseNone;
}

}  // namespace websocket
