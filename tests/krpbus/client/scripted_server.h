// A bus server that does what a test tells it, byte by byte.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "base/file_descriptor.h"

/// One client's connection, as the script of a ScriptedServer sees it.
class ServedClient {
  public:
    explicit ServedClient(int socket) : socket_(socket) {}

    /// Tells who the server is, and takes the client's login.
    void greet();
    /// Refuses the login, as a server does whose password has changed.
    void refuse();
    /// Reads on until the client has said this; what came before it is passed over. False when
    /// the client has gone.
    bool waitFor(const std::string& text);
    /// The number under which the client has subscribed to a subject.
    std::string subscription(const std::string& subject);
    void send(const std::string& bytes);
    /// Stands still until the client goes.
    void standStill();

  private:
    bool receive();

    const FileDescriptor socket_;
    std::string received_;
};

/// Listens on a free port of the loopback interface and serves one client after the other with the
/// script, which is given the number of the connection, from 0; a connection ends with its script.
/// The script runs on the server's thread.
class ScriptedServer {
  public:
    using Script = std::function<void(int number, ServedClient& client)>;

    explicit ScriptedServer(Script script);
    /// Ends the script's connection as well.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t port() const { return port_; }
    /// How many clients have come.
    int clients() const { return clients_.load(); }

  private:
    void run();

    const Script script_;
    FileDescriptor listening_;
    std::uint16_t port_ = 0;
    std::atomic<int> clients_{0};
    std::atomic<int> serving_{-1};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
