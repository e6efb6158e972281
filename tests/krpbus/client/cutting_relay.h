// A line to the bus server that can be cut.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <thread>

#include "base/file_descriptor.h"

/// Listens on a free port of the loopback interface and passes one connection after the other on to
/// a server's port, until told otherwise.
class CuttingRelay {
  public:
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

  private:
    enum class Then { Pass, Cut, StandStill };

    void run();
    void relay(int client, int server);
    bool passOn(int from, int to, bool limited);

    const std::uint16_t serverPort_;
    FileDescriptor listening_;
    std::uint16_t port_ = 0;
    std::atomic<Then> then_{Then::Pass};
    std::atomic<std::size_t> left_{0};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
