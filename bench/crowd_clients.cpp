#include "bench/crowd_clients.h"

#include <nats/nats.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

#include "modules/signal/signal_value_text.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::string_view kTime = "\"timestamp\": ";
constexpr std::size_t kReadSize = std::size_t{64} << 10;
constexpr auto kAskAgain = 500ms;

/// The time in a text, when all of it is there; `end` is then behind it.
std::uint64_t timeIn(std::string_view text, std::size_t& end) {
    const std::size_t at = text.find(kTime, end);
    if (at == std::string_view::npos) {
        return 0;
    }
    const char* const first = text.data() + at + kTime.size();
    const char* const last = text.data() + text.size();
    std::uint64_t time = 0;
    const auto parsed = std::from_chars(first, last, time);
    if (parsed.ptr == last) {
        return 0;
    }
    end = static_cast<std::size_t>(parsed.ptr - text.data());
    return time;
}

/// Goes the way of a page: who is there, which signals there are, then signal after signal and the
/// loads.
class Browser : public CrowdClient {
  public:
    explicit Browser(std::uint16_t port)
        : CrowdClient(std::make_unique<WebSocketStream>(port, "/live", "kr-webapp-v1", kReadSize)) {
        ask();
    }

    bool isReady() const override { return step_ == Step::Ready; }

    bool read(const OnValue& onValue) override {
        return stream().read(0, [&](unsigned int type, std::string_view text) {
            static constexpr std::string_view kValue = "{\n    \"response\": \"generic_sig_value\"";
            std::size_t end = 0;
            if (type != WebSocketStream::kText) {
                return;
            }
            if (!text.starts_with(kValue)) {
                takeAnswer(text);
            } else if (const std::uint64_t time = timeIn(text, end); time != 0) {
                onValue(time);
            }
        });
    }

    void goOn() override {
        if (step_ <= Step::Names && again_ && Clock::now() >= due_) {
            ask();
        }
    }

  private:
    enum class Step { Info, Names, Signals, Loads, Ready };

    void ask() {
        again_ = false;
        static constexpr const char* kQuestions[] = {R"({"command": "get_logger_info"})",
                                                     R"({"command": "get_signal_names"})"};
        stream().sendText(kQuestions[static_cast<std::size_t>(step_)]);
    }

    void takeAnswer(std::string_view text) {
        const bool good = text.find("\"status\": \"OK\"") != std::string_view::npos;
        const auto isAnswer = [&](std::string_view name) {
            return text.substr(0, 80).find("\"response\": \"" + std::string(name) + "\"") !=
                   std::string_view::npos;
        };
        if ((step_ == Step::Info && isAnswer("get_logger_info")) ||
            (step_ == Step::Names && isAnswer("get_signal_names"))) {
            takeFirst(good);
        } else if (step_ == Step::Signals && isAnswer("generic_start_sig")) {
            started_ += good ? 1 : 0;
            if (started_ == kCrowdSignals) {
                step_ = Step::Loads;
                stream().sendText(R"({"command": "busload_start"})");
            }
        } else if (step_ == Step::Loads && isAnswer("busload_start")) {
            step_ = Step::Ready;
        }
    }

    void takeFirst(bool good) {
        if (!good) {
            // An incomplete catalogue is followed by a complete one.
            again_ = step_ == Step::Info;
            due_ = Clock::now() + kAskAgain;
        } else if (step_ == Step::Info) {
            step_ = Step::Names;
            ask();
        } else {
            step_ = Step::Signals;
            for (std::size_t i = 0; i < kCrowdSignals; ++i) {
                stream().sendText(
                    R"({"command": "generic_start_sig", "interval": 1, "signal_key": [")" +
                    crowdSignal(i) + "\", \"" + crowdMac(i) + "\"]}");
            }
        }
    }

    Step step_ = Step::Info;
    std::size_t started_ = 0;
    bool again_ = false;
    Clock::time_point due_{};
};

std::string gatewaySubject(std::size_t client) {
    return "values." + std::to_string(client);
}

class GatewayClient : public CrowdClient {
  public:
    GatewayClient(std::uint16_t port, std::size_t number)
        : CrowdClient(std::make_unique<WebSocketStream>(port, "/", "", kReadSize)) {
        stream().sendBinary("CONNECT {\"verbose\":false}\r\nSUB " + gatewaySubject(number) +
                            " 1\r\nPING\r\n");
    }

    bool isReady() const override { return ready_; }

    /// Frames end where they do, also inside a text.
    bool read(const OnValue& onValue) override {
        const bool alive =
            stream().read(0, [this](unsigned int, std::string_view bytes) { received_ += bytes; });
        if (!ready_) {
            ready_ = received_.find("PONG\r\n") != std::string::npos;
        }
        std::size_t end = 0;
        while (const std::uint64_t time = timeIn(received_, end)) {
            onValue(time);
        }
        constexpr std::size_t kPart = 64;  // more than of a time that is not complete
        received_.erase(0, std::max(end, received_.size() - std::min(kPart, received_.size())));
        return alive;
    }

  private:
    std::string received_;
    bool ready_ = false;
};

class LoggersThread : public GatewayLoggers {
  public:
    LoggersThread(std::uint16_t busPort, std::size_t clients) {
        const std::string url = "nats://127.0.0.1:" + std::to_string(busPort);
        if (natsConnection_ConnectTo(&bus_, url.c_str()) != NATS_OK) {
            throw std::runtime_error("no bus server at " + url);
        }
        for (std::size_t i = 0; i < clients; ++i) {
            subjects_.push_back(gatewaySubject(i));
        }
        thread_ = std::thread([this] { run(); });
    }
    ~LoggersThread() override {
        stop_ = true;
        thread_.join();
        natsConnection_Destroy(bus_);
    }

  private:
    /// Each logger has its turn once a period, one after the other.
    void run() {
        const auto turn = std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(1 / kCrowdRate / kCrowdLoggers));
        auto due = Clock::now();
        for (std::size_t logger = 0; !stop_; logger = (logger + 1) % kCrowdLoggers) {
            due += turn;
            std::this_thread::sleep_until(due);
            publish(logger);
        }
    }

    void publish(std::size_t logger) {
        SignalData signal;
        signal.MAC = crowdMac(logger);
        signal.timestamp = timeOfDay();
        signal.value = std::to_string(++number_);
        signal.valueType = SIGNALVALUE_DOUBLE;
        std::vector<std::string> values;
        for (std::size_t i = logger; i < kCrowdSignals; i += kCrowdLoggers) {
            signal.webappName = crowdSignal(i);
            values.emplace_back(text_.write(signal));
        }
        for (const std::string& subject : subjects_) {
            for (const std::string& value : values) {
                natsConnection_Publish(bus_, subject.c_str(), value.data(),
                                       static_cast<int>(value.size()));
            }
        }
        natsConnection_Flush(bus_);
    }

    natsConnection* bus_ = nullptr;
    std::vector<std::string> subjects_;
    std::uint64_t number_ = 0;
    klv::SignalValueText text_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace

std::string crowdSignal(std::size_t number) {
    return "Powertrain.Signal_" + std::to_string(number);
}

std::string crowdMac(std::size_t number) {
    return "02:00:00:00:00:0" + std::to_string(number % kCrowdLoggers + 1);
}

std::uint64_t timeOfDay() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

std::unique_ptr<CrowdClient> makeBrowser(std::uint16_t port) {
    return std::make_unique<Browser>(port);
}

std::unique_ptr<CrowdClient> makeGatewayClient(std::uint16_t port, std::size_t number) {
    return std::make_unique<GatewayClient>(port, number);
}

std::unique_ptr<GatewayLoggers> startGatewayLoggers(std::uint16_t busPort, std::size_t clients) {
    return std::make_unique<LoggersThread>(busPort, clients);
}
