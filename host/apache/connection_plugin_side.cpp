// What a plug-in does with its connection.

#include <algorithm>
#include <array>

#include "host/apache/connection.h"
#include "host/websocket_plugin.h"

namespace websocket {

void Connection::setHeader(const std::string& name, const std::string& value) {
    if (std::this_thread::get_id() != thread_ || answered_) {
        return;
    }
    if (mayBeSet(name, value)) {
        apr_table_set(request_->headers_out, name.c_str(), value.c_str());
    } else {
        ap_log_rerror(APLOG_MARK, APLOG_WARNING, 0, request_,
                      "WS301: the websocket plug-in may not set the header \"%s\"",
                      ap_escape_logitem(request_->pool, name.c_str()));
    }
}

void Connection::chooseProtocol(const std::string& protocol) {
    if (std::this_thread::get_id() != thread_ || answered_) {
        return;
    }
    const auto& offered = handshake_.protocols;
    if (std::find(offered.begin(), offered.end(), protocol) != offered.end()) {
        protocol_ = protocol;
    } else {
        // A client has to break off when it is told a sub-protocol that it did not offer.
        ap_log_rerror(APLOG_MARK, APLOG_WARNING, 0, request_,
                      "WS302: the websocket plug-in chose \"%s\", which was not offered",
                      ap_escape_logitem(request_->pool, protocol.c_str()));
    }
}

std::size_t Connection::send(int type, const unsigned char* data, std::size_t size) {
    std::uint8_t opcode = 0;
    switch (type) {
        case WEBSOCKET_MESSAGE_TEXT:
            opcode = WSLAY_TEXT_FRAME;
            break;
        case WEBSOCKET_MESSAGE_BINARY:
            opcode = WSLAY_BINARY_FRAME;
            break;
        case WEBSOCKET_MESSAGE_PING:
            opcode = WSLAY_PING;
            break;
        case WEBSOCKET_MESSAGE_PONG:
            opcode = WSLAY_PONG;
            break;
        case WEBSOCKET_MESSAGE_CLOSE: {
            const bool taken = sender_.sendClose(data, size);
            attention_.raise();
            return taken ? size : 0;
        }
        default:
            return 0;
    }
    if (std::this_thread::get_id() == thread_ && !answered_ && sender_.wouldWait(size)) {
        // on_connect sends more than the queue holds: only the answer can make room.
        answerHandshake();
    }
    return sender_.send(opcode, data, size);
}

void Connection::close() {
    constexpr std::array<std::uint8_t, 2> kNormal{kCloseNormal >> 8, kCloseNormal & 0xFF};
    sender_.sendClose(kNormal.data(), kNormal.size());
    attention_.raise();
}

}  // namespace websocket
