// Browsers that have signals and bus loads shown, and clients of the bus server's own websocket
// gateway that get as many texts of the same form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "packaging/probe/websocket_stream.h"

/// What every browser of a crowd has started: so many signals, of so many loggers in turn.
inline constexpr std::size_t kCrowdSignals = 20;
inline constexpr std::size_t kCrowdLoggers = 3;
inline constexpr double kCrowdRate = 9.5;  // values a second and signal

std::string crowdSignal(std::size_t number);
std::string crowdMac(std::size_t number);

/// One client; all clients belong to one thread.
class CrowdClient {
  public:
    /// Called for each value that arrives, with its time in microseconds since 1970.
    using OnValue = std::function<void(std::uint64_t timestamp)>;

    explicit CrowdClient(std::unique_ptr<WebSocketStream> stream) : stream_(std::move(stream)) {}
    virtual ~CrowdClient() = default;
    CrowdClient(const CrowdClient&) = delete;
    CrowdClient& operator=(const CrowdClient&) = delete;

    /// Whether it gets all that it wants.
    virtual bool isReady() const = 0;
    /// Takes what has come. False when the connection has ended.
    virtual bool read(const OnValue& onValue) = 0;
    /// To be called now and then until it is ready.
    virtual void goOn() {}
    int descriptor() const { return stream_->descriptor(); }

  protected:
    WebSocketStream& stream() { return *stream_; }

  private:
    std::unique_ptr<WebSocketStream> stream_;
};

/// Connects a browser to the product.
std::unique_ptr<CrowdClient> makeBrowser(std::uint16_t port);
/// Connects client `number` to the gateway.
std::unique_ptr<CrowdClient> makeGatewayClient(std::uint16_t port, std::size_t number);

/// Publishes for so many clients of the gateway what loggers send to as many browsers, from its
/// making to its end, on a thread of its own.
class GatewayLoggers {
  public:
    virtual ~GatewayLoggers() = default;
};
std::unique_ptr<GatewayLoggers> startGatewayLoggers(std::uint16_t busPort, std::size_t clients);

/// Microseconds since 1970.
std::uint64_t timeOfDay();
