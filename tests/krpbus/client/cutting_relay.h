// A line to the bus server that can be cut.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <thread>

#include "base/file_descriptor.h"

/// Listens on a free port of the loopback interface and passes one connection after the other on to
/// a server's port, until told otherwise.
class CuttingRelay {
  public:
    static constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

    explicit CuttingRelay(std::uint16_t serverPort);
    ~CuttingRelay();
    CuttingRelay(const CuttingRelay&) = delete;
    CuttingRelay& operator=(const CuttingRelay&) = delete;

    std::uint16_t port() const { return port_; }
    /// Lets so many more bytes of the server through, then ends the connection. What comes after
    /// that is a new connection, and passes.
    void cutAfter(std::size_t bytes);
    /// The same, but the connection stays, and nothing passes any more, until the client ends it.
    void standStillAfter(std::size_t bytes);
    /// Lets so many bytes of the server through on each connection that begins from now on, then
    /// stands still as above. kAll: they pass again.
    void standStillInLogins(std::size_t bytes) { leftInLogins_ = bytes; }
    /// How many bytes of the server the connection under way has let through.
    std::size_t passed() const { return passed_.load(); }
    /// How many connections have begun.
    int connections() const { return connections_.load(); }

  private:
    enum class Then { Pass, Cut, StandStill };

    void run();
    void relay(int client, int server);
    bool passOn(int from, int to, bool limited);

    const std::uint16_t serverPort_;
    base::FileDescriptor listening_;
    std::uint16_t port_ = 0;
    std::atomic<Then> then_{Then::Pass};
    std::atomic<std::size_t> left_{0};
    std::atomic<std::size_t> leftInLogins_{kAll};
    std::atomic<std::size_t> passed_{0};
    std::atomic<int> connections_{0};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
