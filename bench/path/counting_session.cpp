#include "bench/path/counting_session.h"

CountingSession::CountingSession() {
    server_.size = sizeof server_;
    server_.version = WEBSOCKET_SERVER_VERSION;
    server_.state = this;
    server_.send = &CountingSession::send;
    socket_.server = &server_;
    setup_.socket = &socket_;
    stp = &setup_;
}

CountingSession::~CountingSession() {
    stp = nullptr;
}

std::size_t CountingSession::send(const WebSocketServer* server, int, const unsigned char* buffer,
                                  std::size_t size) {
    auto* session = static_cast<CountingSession*>(server->state);
    session->bytesSent_ += size;
    if (session->kept_ != nullptr) {
        session->kept_->assign(reinterpret_cast<const char*>(buffer), size);
    }
    return size;
}
