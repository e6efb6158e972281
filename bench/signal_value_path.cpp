#include "bench/signal_value_path.h"

#include <charconv>
#include <cstring>
#include <span>
#include <string_view>

#include "krpbus/byte_writer.h"
#include "krpbus/message_base.h"
#include "modules/signal/signal_module.h"

namespace {

constexpr std::size_t kSignals = 200;
constexpr std::size_t kValuesPerSignal = 5;

std::string signalName(std::size_t number) {
    return "Powertrain.Engine.Signal_" + std::to_string(number);
}

bool isNumber(std::size_t number) {
    return number % 10 != 9;  // one in ten is a text
}

bool hasDescription(std::size_t number) {
    return number % 2 == 0;
}

std::string loggerOf(std::size_t number) {
    return number % 2 == 0 ? "02:00:00:00:00:01" : "02:00:00:00:00:02";
}

void offerSignal(std::size_t number) {
    KRPResponseGetLVSignalConfig::signalConfig_t config;
    config.webappName = signalName(number);
    config.instanceName = "CAN1.Engine." + std::to_string(number);
    config.userName = "signal " + std::to_string(number);
    config.unit = "km/h";
    config.busId = BUSID_CAN;
    config.kslOffset = number % 2 == 0 ? 0 : 8;
    config.valueType = isNumber(number) ? SIGNALVALUE_DOUBLE : SIGNALVALUE_STRING;
    if (hasDescription(number)) {
        for (std::uint64_t raw = 0; raw < 16; ++raw) {
            config.valueDescriptionTable[raw] = "state number " + std::to_string(raw);
        }
    }
    signalInfo->updateSignalConfiguration(config, loggerOf(number));
    signalInfo->withSignal({config.webappName, loggerOf(number)},
                           [](SignalData* signal) { signal->active = true; });
}

SignalMessage valueOf(std::size_t number, std::size_t step) {
    SignalMessage message;
    message.timestamp = 1700000000000000U + 1000U * step;
    message.webappName = signalName(number);
    message.instanceName = "CAN1.Engine." + std::to_string(number);
    message.unit = "km/h";
    message.value = isNumber(number) ? std::to_string(number) + "." + std::to_string(100 + step)
                                     : "text number " + std::to_string(step);
    message.raw = step;
    message.phys = static_cast<double>(step);
    message.descr = hasDescription(number) ? "state number " + std::to_string(step) : "";
    return message;
}

// Appends to room that is known to be enough.
class Pen {
  public:
    explicit Pen(char* out) : start_(out), at_(out) {}
    void write(std::string_view text) {
        std::memcpy(at_, text.data(), text.size());
        at_ += text.size();
    }
    // A text of which nobody knows what it holds, with its quotes.
    void quote(std::string_view text) {
        *at_++ = '"';
        for (const char c : text) {
            if (c == '"' || c == '\\') {
                *at_++ = '\\';
            }
            *at_++ = static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
        *at_++ = '"';
    }
    void write(std::uint64_t number) { at_ = std::to_chars(at_, at_ + 20, number).ptr; }
    std::size_t size() const { return static_cast<std::size_t>(at_ - start_); }

  private:
    char* start_;
    char* at_;
};

}  // namespace

SignalValuePath::SignalValuePath() {
    MessageBase::registerMessages();
    server_.size = sizeof server_;
    server_.version = WEBSOCKET_SERVER_VERSION;
    server_.state = this;
    server_.send = &SignalValuePath::send;
    socket_.server = &server_;
    setup_.socket = &socket_;
    stp = &setup_;

    signalInfo->clearSignalData();
    for (std::size_t number = 0; number < kSignals; ++number) {
        offerSignal(number);
    }
    for (std::size_t step = 0; step < kValuesPerSignal; ++step) {
        for (std::size_t number = 0; number < kSignals; ++number) {
            const SignalMessage message = valueOf(number, step);
            ByteWriter writer;
            message.encode(writer);
            inputs_.push_back({{writer.bytes().begin(), writer.bytes().end()},
                               loggerOf(number),
                               message.webappName,
                               message.value,
                               message.descr,
                               message.timestamp,
                               number % 2 == 0 ? 0U : 8U,
                               isNumber(number)});
        }
    }
}

SignalValuePath::~SignalValuePath() {
    stp = nullptr;
}

std::size_t SignalValuePath::send(const WebSocketServer* server, int, const unsigned char* buffer,
                                  std::size_t size) {
    auto* path = static_cast<SignalValuePath*>(server->state);
    path->bytesSent_ += size;
    if (path->kept_ != nullptr) {
        path->kept_->assign(reinterpret_cast<const char*>(buffer), size);
    }
    return size;
}

const SignalValuePath::Input& SignalValuePath::next() {
    const Input& input = inputs_[at_];
    at_ = at_ + 1 == inputs_.size() ? 0 : at_ + 1;
    return input;
}

[[gnu::noinline]] void SignalValuePath::pass() {
    const Input& input = next();
    const auto message = MessageBase::decode(std::span<const std::uint8_t>(input.bytes));
    handleSignalMessages(message.get(), input.logger);
}

void SignalValuePath::warmUp() {
    const Input& input = next();
    const auto message = MessageBase::decode(std::span<const std::uint8_t>(input.bytes));
    handleSignalMessages(message.get(), input.logger);
}

std::size_t SignalValuePath::writeByHand(char* out) {
    const Input& input = next();
    Pen pen(out);
    pen.write("{\n    \"response\": \"generic_sig_value\",\n    \"signal_key\": [\n        ");
    pen.quote(input.name);
    pen.write(",\n        ");
    pen.quote(input.logger);
    pen.write("\n    ],\n    \"ksl_offset\": ");
    pen.write(std::uint64_t{input.kslOffset});
    pen.write(",\n    \"timestamp\": ");
    pen.write(input.timestamp);
    if (!input.descr.empty()) {
        pen.write(",\n    \"value_description\": ");
        pen.quote(input.descr);
    }
    pen.write(",\n    \"value\": ");
    if (input.isNumber) {
        pen.write(input.value);
    } else {
        pen.quote(input.value);
    }
    pen.write(",\n    \"status\": \"OK\"\n}");
    return pen.size();
}

bool SignalValuePath::textsAgree() {
    std::string sent;
    kept_ = &sent;
    bool agree = true;
    at_ = 0;
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const std::size_t start = at_;
        char text[1024];
        const std::string byHand(text, writeByHand(text));
        at_ = start;
        pass();
        agree = agree && sent == byHand;
    }
    kept_ = nullptr;
    return agree;
}
