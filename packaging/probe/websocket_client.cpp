#include "packaging/probe/websocket_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>
#include <wslay/wslay.h>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace probe {

namespace {

[[noreturn]] void failWithErrno(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

WebsocketClient& self(void* user) {
    return *static_cast<WebsocketClient*>(user);
}

}  // namespace

/// What wslay asks of us. It has no sockets of its own.
struct Callbacks {
    static ssize_t receive(wslay_event_context* context, std::uint8_t* buffer, std::size_t size,
                           int, void* user) {
        WebsocketClient& client = self(user);
        if (!client.early_.empty()) {
            const std::size_t taken = client.early_.copy(reinterpret_cast<char*>(buffer), size);
            client.early_.erase(0, taken);
            return static_cast<ssize_t>(taken);
        }
        const ssize_t got = recv(client.fd_, buffer, size, MSG_DONTWAIT);
        if (got > 0) {
            return got;
        }
        const bool later = got < 0 && (errno == EAGAIN || errno == EINTR);
        wslay_event_set_error(context, later ? WSLAY_ERR_WOULDBLOCK : WSLAY_ERR_CALLBACK_FAILURE);
        return -1;
    }

    static ssize_t send(wslay_event_context* context, const std::uint8_t* data, std::size_t size,
                        int, void* user) {
        const ssize_t sent = ::send(self(user).fd_, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0) {
            return sent;
        }
        const bool later = errno == EAGAIN || errno == EINTR;
        wslay_event_set_error(context, later ? WSLAY_ERR_WOULDBLOCK : WSLAY_ERR_CALLBACK_FAILURE);
        return -1;
    }

    static int mask(wslay_event_context*, std::uint8_t* buffer, std::size_t size, void*) {
        return getrandom(buffer, size, 0) == static_cast<ssize_t>(size) ? 0 : -1;
    }

    static void message(wslay_event_context*, const wslay_event_on_msg_recv_arg* arg, void* user) {
        if (arg->opcode == WSLAY_TEXT_FRAME) {
            self(user).messages_.emplace_back(reinterpret_cast<const char*>(arg->msg),
                                              arg->msg_length);
        }
    }
};

WebsocketClient::WebsocketClient(std::uint16_t port, std::string_view path,
                                 std::string_view protocol, Deadline deadline)
    : deadline_(deadline) {
    try {
        connectTo(port);
        shakeHands(path, protocol, port);
        wslay_event_callbacks callbacks{};
        callbacks.recv_callback = Callbacks::receive;
        callbacks.send_callback = Callbacks::send;
        callbacks.genmask_callback = Callbacks::mask;
        callbacks.on_msg_recv_callback = Callbacks::message;
        if (wslay_event_context_client_init(&context_, &callbacks, this) != 0) {
            throw std::runtime_error("no memory for a websocket");
        }
    } catch (...) {
        close(fd_);
        throw;
    }
}

WebsocketClient::~WebsocketClient() {
    // A polite end lets the server's side finish at once; nobody waits for its answer.
    wslay_event_queue_close(context_, WSLAY_CODE_NORMAL_CLOSURE, nullptr, 0);
    wslay_event_send(context_);
    wslay_event_context_free(context_);
    close(fd_);
}

void WebsocketClient::connectTo(std::uint16_t port) {
    fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0) {
        failWithErrno("socket");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        failWithErrno("nobody listens on port " + std::to_string(port));
    }
    // As browsers do: a frame's payload does not wait for the peer to acknowledge its header.
    const int on = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void WebsocketClient::shakeHands(std::string_view path, std::string_view protocol,
                                 std::uint16_t port) {
    // The key only has to be well-formed: whether a cache stands in between is no question on
    // loopback.
    writeAll("GET " + std::string(path) + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
             "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
             "Sec-WebSocket-Key: bGl2ZSB2aWV3IHByb2JlIQ==\r\nSec-WebSocket-Protocol: " +
             std::string(protocol) + "\r\n\r\n");
    std::string head;
    std::size_t end = 0;
    while ((end = head.find("\r\n\r\n")) == std::string::npos) {
        waitFor(POLLIN);
        char buffer[4096];
        const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
        if (got <= 0) {
            throw std::runtime_error("the web server closed the connection during the handshake");
        }
        head.append(buffer, static_cast<std::size_t>(got));
    }
    early_ = head.substr(end + 4);
    head.resize(end);
    if (head.compare(0, 13, "HTTP/1.1 101 ") != 0) {
        throw std::runtime_error("the web server answered the handshake with \"" +
                                 head.substr(0, head.find('\r')) + "\"");
    }
    if (strcasestr(head.c_str(), ("sec-websocket-protocol: " + std::string(protocol)).c_str()) ==
        nullptr) {
        throw std::runtime_error("the server does not speak " + std::string(protocol));
    }
}

void WebsocketClient::waitFor(short events) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                          deadline_ - std::chrono::steady_clock::now())
                          .count();
    pollfd descriptor{fd_, events, 0};
    if (left <= 0 || poll(&descriptor, 1, static_cast<int>(left)) <= 0) {
        throw std::runtime_error("no answer in time");
    }
}

void WebsocketClient::writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
        waitFor(POLLOUT);
        const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            failWithErrno("the connection broke");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void WebsocketClient::send(std::string_view text) {
    const wslay_event_msg message{WSLAY_TEXT_FRAME,
                                  reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
    if (wslay_event_queue_msg(context_, &message) != 0) {
        throw std::runtime_error("the connection is being closed");
    }
    while (wslay_event_want_write(context_) != 0) {
        waitFor(POLLOUT);
        if (wslay_event_send(context_) != 0) {
            throw std::runtime_error("the connection broke");
        }
    }
}

std::string WebsocketClient::receive() {
    while (messages_.empty()) {
        if (early_.empty()) {
            waitFor(POLLIN);
        }
        if (wslay_event_recv(context_) != 0 || wslay_event_send(context_) != 0 ||
            (messages_.empty() && wslay_event_get_close_received(context_) != 0)) {
            throw std::runtime_error("the server closed the connection");
        }
    }
    std::string first = std::move(messages_.front());
    messages_.erase(messages_.begin());
    return first;
}

}  // namespace probe
