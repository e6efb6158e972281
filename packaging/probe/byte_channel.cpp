#include "packaging/probe/byte_channel.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <stdexcept>

int connectToLoopback(std::uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(socket);
        throw std::runtime_error("nobody listens on port " + std::to_string(port));
    }
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return socket;
}

void sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            throw std::runtime_error("the connection has ended");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

namespace {

class PlainChannel final : public ByteChannel {
  public:
    PlainChannel(std::uint16_t port, std::chrono::seconds patience)
        : socket_(connectToLoopback(port)) {
        const timeval longest{static_cast<time_t>(patience.count()), 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
    }
    ~PlainChannel() override { close(socket_); }

    void send(std::string_view bytes) override { sendAll(socket_, bytes); }
    ssize_t receive(char* buffer, std::size_t size) override {
        return recv(socket_, buffer, size, 0);
    }
    bool hasBuffered() const override { return false; }
    int descriptor() const override { return socket_; }

  private:
    int socket_;
};

/// What the library says of the last thing that went wrong.
std::string tlsError(const char* what) {
    const char* reason = ERR_reason_error_string(ERR_get_error());
    return std::string(what) + (reason != nullptr ? std::string(": ") + reason : "");
}

class TlsChannel final : public ByteChannel {
  public:
    TlsChannel(std::uint16_t port, std::chrono::seconds patience, const std::string& certificate)
        : plain_(port, patience),
          context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free),
          ssl_(nullptr, SSL_free) {
        if (!context_ ||
            SSL_CTX_load_verify_locations(context_.get(), certificate.c_str(), nullptr) != 1) {
            throw std::runtime_error(tlsError("the certificate cannot be read"));
        }
        SSL_CTX_set_verify(context_.get(), SSL_VERIFY_PEER, nullptr);
        ssl_.reset(SSL_new(context_.get()));
        if (!ssl_ || X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl_.get()), "127.0.0.1") != 1 ||
            SSL_set_fd(ssl_.get(), plain_.descriptor()) != 1 || SSL_connect(ssl_.get()) != 1) {
            throw std::runtime_error(tlsError("no TLS with the web server"));
        }
    }

    void send(std::string_view bytes) override {
        while (!bytes.empty()) {
            const int sent = SSL_write(ssl_.get(), bytes.data(), atOnce(bytes.size()));
            if (sent <= 0) {
                throw std::runtime_error("the connection has ended");
            }
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

    ssize_t receive(char* buffer, std::size_t size) override {
        const int got = SSL_read(ssl_.get(), buffer, atOnce(size));
        if (got > 0) {
            return got;
        }
        const int error = SSL_get_error(ssl_.get(), got);
        if (error == SSL_ERROR_ZERO_RETURN) {
            return 0;
        }
        errno = error == SSL_ERROR_WANT_READ ? EAGAIN : ECONNRESET;
        return -1;
    }

    bool hasBuffered() const override { return SSL_pending(ssl_.get()) > 0; }
    int descriptor() const override { return plain_.descriptor(); }

  private:
    static int atOnce(std::size_t size) {
        return static_cast<int>(
            std::min(size, static_cast<std::size_t>(std::numeric_limits<int>::max())));
    }

    PlainChannel plain_;
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
    std::unique_ptr<SSL, decltype(&SSL_free)> ssl_;
};

}  // namespace

std::unique_ptr<ByteChannel> openChannel(std::uint16_t port, std::chrono::seconds patience,
                                         const std::string& certificate) {
    if (certificate.empty()) {
        return std::make_unique<PlainChannel>(port, patience);
    }
    return std::make_unique<TlsChannel>(port, patience, certificate);
}
