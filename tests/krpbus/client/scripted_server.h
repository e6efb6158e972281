// A bus server that does what a test tells it, byte by byte.
#pragma once

#include <openssl/ssl.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "tests/krpbus/client/bus_certificate.h"

/// One client's connection, as the script of a ScriptedServer sees it.
class ServedClient {
  public:
    /// Without `tls` the server has none.
    ServedClient(int socket, SSL_CTX* tls) : socket_(socket), tls_(tls) {}

    /// Tells who the server is, and takes the client's login.
    void greet();
    /// The same one by one: the first word; what follows it over TLS; the client's login.
    std::string info() const;
    bool secure();
    bool takeLogin() { return waitFor("PING\r\n"); }
    /// Refuses the login, as a server does whose password has changed.
    void refuse();
    /// Reads on until the client has said this; what came before it is passed over. False when
    /// the client has gone.
    bool waitFor(const std::string& text);
    /// The number under which the client has subscribed to a subject.
    std::string subscription(const std::string& subject);
    /// Over TLS one record for each 16 KiB begun.
    void send(const std::string& bytes);
    /// Stands still until the client goes.
    void standStill();
    /// Answers its pings until the client goes.
    void stayAlive();
    /// Whether it has gone before its login was over. On a busy machine that may take longer than
    /// the client waits.
    bool hasGivenUp() const { return givenUp_; }

  private:
    struct SslDeleter {
        void operator()(SSL* ssl) const { SSL_free(ssl); }
    };

    bool receive();
    ssize_t write(const char* bytes, std::size_t size);
    ssize_t read(char* buffer, std::size_t size);

    const base::FileDescriptor socket_;
    SSL_CTX* const tls_;
    std::unique_ptr<SSL, SslDeleter> ssl_;  // after the handshake
    std::string received_;
    bool givenUp_ = false;
};

/// Listens on a free port of the loopback interface and serves one client after the other with the
/// script, which is given the number of the connection, from 0; a connection ends with its script.
/// One whose client has given up during its login does not count. The script runs on the server's
/// thread.
class ScriptedServer {
  public:
    using Script = std::function<void(int number, ServedClient& client)>;

    /// With a certificate the server speaks TLS; it must outlive the server.
    explicit ScriptedServer(Script script, const Certificate* certificate = nullptr);
    /// Ends the script's connection as well.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t port() const { return port_; }

  private:
    struct ContextDeleter {
        void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    };

    void run();

    const Script script_;
    std::unique_ptr<SSL_CTX, ContextDeleter> tls_;
    base::FileDescriptor listening_;
    std::uint16_t port_ = 0;
    std::atomic<int> serving_{-1};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
