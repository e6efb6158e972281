// A real bus server for a test.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

/// A nats-server on a free port of the loopback interface, from construction to destruction. It
/// also ends when the test program dies.
class NatsServer {
  public:
    /// `extraConfiguration` is added to the server's configuration file. Throws std::runtime_error
    /// when the server does not come up.
    explicit NatsServer(const std::string& extraConfiguration = "max_payload: 67108864\n");
    ~NatsServer();
    NatsServer(const NatsServer&) = delete;
    NatsServer& operator=(const NatsServer&) = delete;

    std::uint16_t port() const { return port_; }
    /// "127.0.0.1:<port>", as KRPBUS_SERVER takes it.
    std::string address() const;

    bool isRunning() const { return process_ > 0; }
    /// Ends the server. Its port stays reserved for start().
    void stop();
    /// Starts it again on the same port and waits until it answers.
    void start();
    /// Lets it stand still, and go on: connections stay, nothing is answered meanwhile.
    void pause();
    void resume();

  private:
    std::string configurationFile_;
    std::uint16_t port_ = 0;
    pid_t process_ = -1;
};
