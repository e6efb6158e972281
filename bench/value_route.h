// A way for signal values from a publisher to a browser, in three kinds that carry the same texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// Publishing and receiving are for one thread each.
class ValueRoute {
  public:
    /// Called for each value that arrives, with its number.
    using OnValue = std::function<void(std::uint64_t number)>;

    ValueRoute() = default;
    virtual ~ValueRoute() = default;
    ValueRoute(const ValueRoute&) = delete;
    ValueRoute& operator=(const ValueRoute&) = delete;

    /// Sends a value whose text is the number.
    virtual void publish(std::uint64_t number) = 0;
    /// Sends what still waits to be sent.
    virtual void flush() {}
    /// Waits up to `milliseconds` for values. False when the connection has ended.
    virtual bool receive(int milliseconds, const OnValue& onValue) = 0;
};

struct RouteOptions {
    std::uint16_t busPort = 0;                    // of the server that values are published to
    std::uint16_t webSocketPort = 0;              // of the server that the browser is connected to
    std::string mac;                              // of the logger, for the product's own way
    std::size_t readSize = std::size_t{1} << 20;  // what the browser takes from the system at once
};

/// For a browser that is slow: it leaves in the system what it has not handled.
inline constexpr std::size_t kSmallReads = 4096;

/// From a desk publisher over the bus and the plug-in in the web server.
std::unique_ptr<ValueRoute> makeProductRoute(const RouteOptions& options);
/// Through the bus server's own websocket gateway.
std::unique_ptr<ValueRoute> makeGatewayRoute(const RouteOptions& options);
/// Through an MQTT broker's websocket listener.
std::unique_ptr<ValueRoute> makeMqttRoute(const RouteOptions& options);

/// How many signals take turns.
inline constexpr std::uint64_t kRouteSignals = 100;
std::string routeSignal(std::uint64_t number);
/// The text that the browser gets for a value: what the product makes of it.
std::string routeText(std::uint64_t number, const std::string& mac);
/// The number in such a text; 0 when there is none.
std::uint64_t numberIn(std::string_view text);
