#include "tests/kit/worker_session.h"

#include "tests/kit/answers.h"

namespace {

std::string closeText(const std::string& payload) {
    unsigned int status = 0;
    for (const char byte : payload) {
        status = (status << 8U) + static_cast<unsigned char>(byte);
    }
    return "close " + std::to_string(status);
}

std::string describe(const SentFrame& frame) {
    switch (frame.type) {
        case WEBSOCKET_MESSAGE_TEXT:
            return compact(frame.payload);
        case WEBSOCKET_MESSAGE_CLOSE:
            return closeText(frame.payload);
        default:
            return "type " + std::to_string(frame.type);
    }
}

}  // namespace

WorkerSession::WorkerSession(long connectionId)
    : host({.connectionId = connectionId}),
      socket_{host.server(), host.requestPool(), "192.0.2.7", "browser.example"} {
    setup.id = "[" + std::to_string(connectionId) + "] ";
    setup.socket = &socket_;
    stp = &setup;
}

WorkerSession::~WorkerSession() {
    stp = nullptr;
}

std::vector<std::string> WorkerSession::sent() const {
    std::vector<std::string> lines;
    for (const SentFrame& frame : host.frames()) {
        lines.push_back(describe(frame));
    }
    return lines;
}

std::vector<std::string> WorkerSession::takeSent() {
    std::vector<std::string> lines = sent();
    host.clearFrames();
    return lines;
}
