#include "tests/krpbus/client/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <csignal>
#include <stdexcept>

std::string ServedClient::info() const {
    return std::string(
               "INFO {\"server_id\":\"scripted\",\"version\":\"2.9.10\",\"proto\":1,"
               "\"headers\":true,\"max_payload\":1048576") +
           (tls_ != nullptr ? ",\"tls_required\":true}\r\n" : "}\r\n");
}

bool ServedClient::secure() {
    if (tls_ == nullptr) {
        return true;
    }
    std::unique_ptr<SSL, SslDeleter> ssl(SSL_new(tls_));
    SSL_set_fd(ssl.get(), socket_.get());
    if (SSL_accept(ssl.get()) != 1) {
        return false;
    }
    ssl_ = std::move(ssl);
    return true;
}

void ServedClient::greet() {
    send(info());
    givenUp_ = !secure() || !takeLogin();
    if (!givenUp_) {
        send("PONG\r\n");
    }
}

void ServedClient::refuse() {
    send(info());
    if (secure() && takeLogin()) {
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
    givenUp_ = !waitFor("SUB " + subject + "  ");
    while (received_.find("\r\n") == std::string::npos && receive()) {
    }
    return received_.substr(0, received_.find("\r\n"));
}

void ServedClient::send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t now = write(bytes.data() + sent, bytes.size() - sent);
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

void ServedClient::stayAlive() {
    while (waitFor("PING\r\n")) {
        send("PONG\r\n");
    }
}

bool ServedClient::receive() {
    std::array<char, 4096> buffer{};
    const ssize_t got = read(buffer.data(), buffer.size());
    if (got <= 0) {
        return false;
    }
    received_.append(buffer.data(), static_cast<std::size_t>(got));
    return true;
}

ssize_t ServedClient::write(const char* bytes, std::size_t size) {
    return ssl_ ? SSL_write(ssl_.get(), bytes, static_cast<int>(size))
                : ::send(socket_.get(), bytes, size, MSG_NOSIGNAL);
}

ssize_t ServedClient::read(char* buffer, std::size_t size) {
    return ssl_ ? SSL_read(ssl_.get(), buffer, static_cast<int>(size))
                : recv(socket_.get(), buffer, size, 0);
}

ScriptedServer::ScriptedServer(Script script, const Certificate* certificate)
    : script_(std::move(script)), listening_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (certificate != nullptr) {
        tls_.reset(SSL_CTX_new(TLS_server_method()));
        if (SSL_CTX_use_certificate_file(tls_.get(), certificate->certificate().c_str(),
                                         SSL_FILETYPE_PEM) != 1 ||
            SSL_CTX_use_PrivateKey_file(tls_.get(), certificate->key().c_str(), SSL_FILETYPE_PEM) !=
                1) {
            throw std::runtime_error("no certificate for a scripted server");
        }
        signal(SIGPIPE, SIG_IGN);  // OpenSSL's way of writing
    }
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
    int number = 0;
    while (!stop_) {
        const int accepted = accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (accepted < 0) {
            continue;
        }
        serving_ = accepted;
        ServedClient client(accepted, tls_.get());
        if (!stop_) {
            script_(number, client);
            number += client.hasGivenUp() ? 0 : 1;
        }
        serving_ = -1;
    }
}
