#include "bench/path/signal_value_path.h"

#include <span>

#include "bench/path/hand_pen.h"
#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/message_base.h"
#include "modules/signal/signal_catalogue.h"
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

}  // namespace

SignalValuePath::SignalValuePath() {
    MessageBase::registerMessages();
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
    HandPen pen(out);
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
    session_.keepTextIn(&sent);
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
    session_.keepTextIn(nullptr);
    return agree;
}
