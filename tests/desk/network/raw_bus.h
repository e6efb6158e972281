// Bytes on the bus that no client of ours would send.
#pragma once

#include <cstdint>
#include <string>

// A connection that speaks the bus server's own text protocol.
class RawBus {
  public:
    explicit RawBus(std::uint16_t port);
    ~RawBus();
    RawBus(const RawBus&) = delete;
    RawBus& operator=(const RawBus&) = delete;

    // Publishes the payload as it is; an empty reply subject means none.
    void publish(const std::string& subject, const std::string& reply, const std::string& payload);

  private:
    void write(const std::string& text);

    int socket_;
};
