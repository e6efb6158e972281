#include "tests/krpbus/client/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

void ServedClient::greet() {
    send(
        "INFO {\"server_id\":\"scripted\",\"version\":\"2.9.10\",\"proto\":1,\"headers\":true,"
        "\"max_payload\":1048576}\r\n");
    if (waitFor("PING\r\n")) {
        send("PONG\r\n");
    }
}

void ServedClient::refuse() {
    send(
        "INFO {\"server_id\":\"scripted\",\"version\":\"2.9.10\",\"proto\":1,\"headers\":true,"
        "\"max_payload\":1048576,\"auth_required\":true}\r\n");
    if (waitFor("PING\r\n")) {
        send("-ERR 'Authorization Violation'\r\n");
    }
}

bool ServedClient::waitFor(const std::string& text) {
    for (;;) {
        const std::size_t at = received_.find(text);
        if (at != std::string::npos) {
            received_.erase(0, at + text.size());
            return true;
        }
        if (!receive()) {
            return false;
        }
    }
}

std::string ServedClient::subscription(const std::string& subject) {
    waitFor("SUB " + subject + "  ");
    while (received_.find("\r\n") == std::string::npos && receive()) {
    }
    return received_.substr(0, received_.find("\r\n"));
}

void ServedClient::send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t now =
            ::send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (now <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(now);
    }
}

void ServedClient::standStill() {
    while (receive()) {
    }
}

bool ServedClient::receive() {
    std::array<char, 4096> buffer{};
    const ssize_t got = recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (got <= 0) {
        return false;
    }
    received_.append(buffer.data(), static_cast<std::size_t>(got));
    return true;
}

ScriptedServer::ScriptedServer(Script script)
    : script_(std::move(script)), listening_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listening_.get(), generic, length) != 0 || listen(listening_.get(), 16) != 0 ||
        getsockname(listening_.get(), generic, &length) != 0) {
        throw std::runtime_error("no free port for a scripted server");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer() {
    stop_ = true;
    shutdown(listening_.get(), SHUT_RDWR);
    shutdown(serving_, SHUT_RDWR);
    thread_.join();
}

void ScriptedServer::run() {
    while (!stop_) {
        const int accepted = accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (accepted < 0) {
            continue;
        }
        serving_ = accepted;
        ServedClient client(accepted);
        if (!stop_) {
            script_(clients_++, client);
        }
        serving_ = -1;
    }
}
