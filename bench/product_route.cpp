// Values by way of the product: bus, plug-in, web server.
#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "bench/value_route.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/system_message.h"
#include "packaging/probe/websocket_stream.h"

namespace {

constexpr std::chrono::seconds kPatience{30};

class ProductRoute : public ValueRoute {
  public:
    /// There is a desk logger with this MAC address; it offers the signals and otherwise keeps
    /// quiet.
    explicit ProductRoute(const RouteOptions& options)
        : bus_("value-publisher", "127.0.0.1", options.busPort, {options.mac}),
          browser_(options.webSocketPort, "/live", "kr-webapp-v1", options.readSize) {
        // Who the browser's session is on the bus shows when it switches the forwarding on.
        bus_.addParticipant("HandheldServer");
        ask(R"({"command": "get_logger_info"})", "get_logger_info", true);
        ask(R"({"command": "get_signal_names"})", "get_signal_names", false);
        for (std::uint64_t i = 0; i < kRouteSignals; ++i) {
            ask(R"({"command": "generic_start_sig", "interval": 1, "signal_key": ")" +
                    routeSignal(i) + "\"}",
                "generic_start_sig", false);
        }
        findSession();
        message_.unit = "km/h";
    }

    /// As a desk logger does: what is due together travels together, each signal once. A session
    /// that does not listen to that gets each value alone.
    void publish(std::uint64_t number) override {
        message_.webappName = routeSignal(number);
        message_.instanceName = message_.webappName;
        message_.timestamp = 1700000000000000U + number;
        message_.value = std::to_string(number);
        if (!takesShared_) {
            bus_.sendTo("HandheldServer", session_, message_.clone());
            return;
        }
        due_.push_back(message_.clone());
        if (due_.size() == kRouteSignals) {
            flush();
        }
    }

    void flush() override {
        if (!due_.empty()) {
            bus_.sendLive("HandheldServer", krpbus::LiveData::Signals, {}, due_);
            due_.clear();
        }
    }

    bool receive(int milliseconds, const OnValue& onValue) override {
        return browser_.read(milliseconds, [&](unsigned int, std::string_view text) {
            if (const std::uint64_t number = numberIn(text); number != 0) {
                onValue(number);
            }
        });
    }

  private:
    /// Sends a command until, with `again`, or otherwise once and waits until, it is answered "OK".
    void ask(const std::string& command, const std::string& response, bool again) {
        const std::string name = "\"response\": \"" + response + "\"";
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        bool good = false;
        bool send = true;
        while (!good) {
            if (std::exchange(send, false)) {
                browser_.sendText(command);
            }
            const bool alive = browser_.read(1000, [&](unsigned int, std::string_view text) {
                if (text.find(name) != std::string_view::npos) {
                    good = good || text.find("\"status\": \"OK\"") != std::string_view::npos;
                    send = again;
                }
            });
            if (!alive || std::chrono::steady_clock::now() > deadline) {
                throw std::runtime_error("no good answer to " + command);
            }
        }
    }

    void findSession() {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (session_.empty() && std::chrono::steady_clock::now() < deadline) {
            bus_.read();
            const auto message = bus_.getMessage();
            const auto* notice = dynamic_cast<const SystemMessage*>(message.get());
            if (notice != nullptr && notice->text == "77-LVStartSignals") {
                session_ = notice->getSource();
                takesShared_ = notice->takesShared();
            } else if (!message) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        if (session_.empty()) {
            throw std::runtime_error("no session has switched the forwarding on");
        }
    }

    KRPBusClient bus_;
    WebSocketStream browser_;
    std::string session_;
    bool takesShared_ = false;
    std::vector<std::unique_ptr<MessageBase>> due_;
    SignalMessage message_;
};

}  // namespace

std::unique_ptr<ValueRoute> makeProductRoute(const RouteOptions& options) {
    return std::make_unique<ProductRoute>(options);
}
