#include "tests/desk/network/raw_bus.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

RawBus::RawBus(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(socket_);
        throw std::runtime_error("no bus server");
    }
    write("CONNECT {\"verbose\":false}\r\n");
}

RawBus::~RawBus() {
    close(socket_);
}

void RawBus::publish(const std::string& subject, const std::string& reply,
                     const std::string& payload) {
    write("PUB " + subject + (reply.empty() ? "" : " " + reply) + " " +
          std::to_string(payload.size()) + "\r\n" + payload + "\r\n");
}

void RawBus::write(const std::string& text) {
    if (send(socket_, text.data(), text.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the bus server takes nothing");
    }
}
