// Values by way of what is there without the product: the bus server's websocket gateway, and an
// MQTT broker's.
#include <nats/nats.h>
#include <sys/socket.h>
#include <unistd.h>

#include <charconv>
#include <stdexcept>

#include "bench/value_route.h"
#include "packaging/probe/websocket_stream.h"

namespace {

constexpr std::size_t kChunk = 32 * 1024;

class GatewayRoute : public ValueRoute {
  public:
    explicit GatewayRoute(const RouteOptions& options)
        : mac_(options.mac), browser_(options.webSocketPort, "/", "") {
        const std::string url = "nats://127.0.0.1:" + std::to_string(options.busPort);
        if (natsConnection_ConnectTo(&bus_, url.c_str()) != NATS_OK) {
            throw std::runtime_error("no bus server at " + url);
        }
        browser_.sendBinary("CONNECT {\"verbose\":false}\r\nSUB values 1\r\nPING\r\n");
        while (stream_.find("PONG") == std::string::npos) {
            if (!browser_.read(
                    1000, [this](unsigned int, std::string_view bytes) { stream_ += bytes; })) {
                throw std::runtime_error("the gateway ends the connection: " + stream_);
            }
        }
        stream_.clear();
    }
    ~GatewayRoute() override { natsConnection_Destroy(bus_); }

    void publish(std::uint64_t number) override {
        const std::string text = routeText(number, mac_);
        natsConnection_Publish(bus_, "values", text.data(), static_cast<int>(text.size()));
    }

    /// "MSG values 1 <size>\r\n<payload>\r\n", one behind the other, whatever the frames are.
    bool receive(int milliseconds, const OnValue& onValue) override {
        const bool alive = browser_.read(
            milliseconds, [this](unsigned int, std::string_view bytes) { stream_ += bytes; });
        std::string_view rest = stream_;
        for (std::size_t end = 0; (end = rest.find("\r\n")) != std::string_view::npos;) {
            std::size_t size = 0;
            const std::string_view line = rest.substr(0, end);
            if (line.starts_with("MSG ")) {
                const std::size_t blank = line.rfind(' ');
                std::from_chars(line.data() + blank + 1, line.data() + line.size(), size);
                if (rest.size() < end + 4 + size) {
                    break;
                }
                onValue(numberIn(rest.substr(end + 2, size)));
                size += 2;
            } else if (line == "PING") {
                browser_.sendBinary("PONG\r\n");
            }
            rest.remove_prefix(end + 2 + size);
        }
        stream_.erase(0, stream_.size() - rest.size());
        return alive;
    }

  private:
    const std::string mac_;
    natsConnection* bus_ = nullptr;
    WebSocketStream browser_;
    std::string stream_;
};

void appendText(std::string& packet, std::string_view text) {
    packet += static_cast<char>(text.size() >> 8);
    packet += static_cast<char>(text.size() & 0xFF);
    packet += text;
}

/// An MQTT 3.1.1 packet: type and flags, the length in groups of seven bits, the body.
std::string packetOf(unsigned char type, const std::string& body) {
    std::string packet(1, static_cast<char>(type));
    std::size_t length = body.size();
    do {
        packet += static_cast<char>((length & 0x7F) | (length > 0x7F ? 0x80 : 0));
        length >>= 7;
    } while (length > 0);
    return packet + body;
}

std::string connectPacket(const std::string& client) {
    std::string body;
    appendText(body, "MQTT");
    body += std::string("\x04\x02\x00\x00", 4);  // version 4, clean session, no keep-alive
    appendText(body, client);
    return packetOf(0x10, body);
}

class MqttRoute : public ValueRoute {
  public:
    explicit MqttRoute(const RouteOptions& options)
        : mac_(options.mac),
          broker_(connectToLoopback(options.busPort)),
          browser_(options.webSocketPort, "/", "mqtt") {
        sendAll(broker_, connectPacket("publisher"));
        char answer[4];
        if (recv(broker_, answer, sizeof answer, MSG_WAITALL) != 4) {
            throw std::runtime_error("the broker does not answer");
        }
        browser_.sendBinary(connectPacket("browser"));
        std::string subscription("\x00\x01", 2);
        appendText(subscription, "values");
        browser_.sendBinary(packetOf(0x82, subscription + '\0'));
        // The answers to both: 4 and 5 bytes.
        while (stream_.size() < 9) {
            if (!browser_.read(
                    1000, [this](unsigned int, std::string_view bytes) { stream_ += bytes; })) {
                throw std::runtime_error("the broker ends the connection");
            }
        }
        stream_.clear();
    }
    ~MqttRoute() override { close(broker_); }

    void publish(std::uint64_t number) override {
        std::string body;
        appendText(body, "values");
        body += routeText(number, mac_);
        unsent_ += packetOf(0x30, body);
        if (unsent_.size() >= kChunk) {
            flush();
        }
    }
    void flush() override {
        sendAll(broker_, unsent_);
        unsent_.clear();
    }

    bool receive(int milliseconds, const OnValue& onValue) override {
        const bool alive = browser_.read(
            milliseconds, [this](unsigned int, std::string_view bytes) { stream_ += bytes; });
        std::size_t at = 0;
        while (stream_.size() - at >= 2) {
            std::size_t length = 0;
            std::size_t head = 1;
            unsigned int shift = 0;
            unsigned char byte = 0x80;
            for (; (byte & 0x80) != 0 && at + head < stream_.size(); ++head, shift += 7) {
                byte = static_cast<unsigned char>(stream_[at + head]);
                length |= static_cast<std::size_t>(byte & 0x7F) << shift;
            }
            if ((byte & 0x80) != 0 || stream_.size() - at < head + length) {
                break;
            }
            onValue(numberIn(std::string_view(stream_).substr(at + head, length)));
            at += head + length;
        }
        stream_.erase(0, at);
        return alive;
    }

  private:
    const std::string mac_;
    int broker_;
    WebSocketStream browser_;
    std::string unsent_;
    std::string stream_;
};

}  // namespace

std::unique_ptr<ValueRoute> makeGatewayRoute(const RouteOptions& options) {
    return std::make_unique<GatewayRoute>(options);
}

std::unique_ptr<ValueRoute> makeMqttRoute(const RouteOptions& options) {
    return std::make_unique<MqttRoute>(options);
}
