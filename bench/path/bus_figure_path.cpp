#include "bench/path/bus_figure_path.h"

#include <span>

#include "bench/path/hand_pen.h"
#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/message_base.h"
#include "modules/busload/bus_names_responses.h"
#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_commands.h"
#include "modules/busload/busload_module.h"
#include "modules/busload/busload_values.h"
#include "network/ksl_info.h"

namespace {

constexpr unsigned int kLoggers = 4;
constexpr unsigned int kBuses = 64;
constexpr unsigned int kFiguresPerBus = 5;

std::string mac(unsigned int logger) {
    return "02:00:00:00:00:0" + std::to_string(logger + 1);
}

std::uint8_t offsetOf(unsigned int logger) {
    return static_cast<std::uint8_t>(logger * 64);
}

std::string busName(unsigned int bus) {
    return "CAN bus " + std::to_string(bus);
}

void knowLogger(unsigned int logger) {
    const String2MessageResponse<82> config("configuration",
                                            "Logger no. " + std::to_string(logger));
    kslInfo->addConfigMessage(&config, mac(logger));
    KRPResponseGetBusNames answer;
    for (unsigned int bus = 0; bus < kBuses; ++bus) {
        answer.busNames.push_back(
            {BUSID_CAN, static_cast<unsigned char>(bus), offsetOf(logger), busName(bus)});
    }
    busInfo->addBusnamesMessage(&answer, mac(logger));
}

}  // namespace

BusFigurePath::BusFigurePath() {
    MessageBase::registerMessages();
    kslInfo->setNeighbours({mac(1), mac(2), mac(3)});
    for (unsigned int logger = 0; logger < kLoggers; ++logger) {
        knowLogger(logger);
    }
    sendInitialValues();
    makeInputs();
}

void BusFigurePath::makeInputs() {
    for (unsigned int step = 0; step < kFiguresPerBus; ++step) {
        for (unsigned int number = 0; number < kLoggers * kBuses; ++number) {
            const unsigned int logger = number % kLoggers;
            const unsigned int bus = number / kLoggers;
            BusLoadExtMessage message;
            message.busId = BUSID_CAN;
            message.channel = static_cast<std::uint8_t>(bus);
            message.kslOffset = offsetOf(logger);
            message.value = static_cast<std::int32_t>(10 * bus + step);
            message.timestamp = 1700000000000000U + 1000U * step;
            message.unit = BusLoadExtMessage::UNIT_PERCENT;
            ByteWriter writer;
            message.encode(writer);
            inputs_.push_back({{writer.bytes().begin(), writer.bytes().end()},
                               mac(logger),
                               "Logger no. " + std::to_string(logger),
                               busName(bus),
                               logger == 0 ? bus + 1 : bus + offsetOf(logger)});
        }
    }
}

const BusFigurePath::Input& BusFigurePath::next() {
    const Input& input = inputs_[at_];
    at_ = at_ + 1 == inputs_.size() ? 0 : at_ + 1;
    return input;
}

void BusFigurePath::pass() {
    const Input& input = next();
    const auto message = MessageBase::decode(std::span<const std::uint8_t>(input.bytes));
    handleBusloadMessages(message.get(), input.logger);
}

void BusFigurePath::passUnchanged() {
    const Input& input = inputs_[at_];
    const auto message = MessageBase::decode(std::span<const std::uint8_t>(input.bytes));
    handleBusloadMessages(message.get(), input.logger);
}

std::size_t BusFigurePath::writeByHand(char* out) {
    const Input& input = next();
    const auto message = MessageBase::decode(std::span<const std::uint8_t>(input.bytes));
    const auto* figure = static_cast<const BusLoadExtMessage*>(message.get());
    HandPen pen(out);
    pen.write("{\n    \"response\": \"busload_data\",\n    \"timestamp\": ");
    pen.write(figure->timestamp);
    if (figure->kslOffset != 0) {
        pen.write(",\n    \"logger_name\": \"");
        pen.write(input.loggerName);
        pen.write("\"");
    }
    pen.write(",\n    \"data\": {\n        \"bus_id\": \"BUSID_CAN\",\n        \"channel\": ");
    pen.write(std::uint64_t{input.channel});
    pen.write(",\n        \"ksl_offset\": ");
    pen.write(std::uint64_t{figure->kslOffset});
    pen.write(",\n        \"name\": \"");
    pen.write(input.name);
    pen.write("\",\n        \"unit\": \"UNIT_PERCENT\",\n        \"value\": ");
    pen.write(figure->value);
    pen.write("\n    },\n    \"status\": \"OK\"\n}");
    return pen.size();
}

bool BusFigurePath::textsAgree() {
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
