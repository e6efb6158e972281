#include "modules/signal/signal_value_text.h"

#include <cstddef>

#include "json/json_pen.h"
#include "modules/signal/json_number.h"

namespace klv {

namespace {

/// What the message needs besides its texts, generously: the fixed parts, two numbers, and a word
/// that a copy may write too far.
constexpr std::size_t kFixedRoom = 512;

bool isNumber(const SignalData& signal) {
    return isNumeric(signal.valueType) && isFiniteJsonNumber(signal.value);
}

void writeMessage(JsonPen& pen, const SignalData& signal) {
    pen.raw("{\n    \"response\": \"generic_sig_value\",\n    \"signal_key\": [\n        ");
    pen.string(signal.webappName);
    pen.raw(",\n        ");
    pen.string(signal.MAC);
    pen.raw("\n    ],\n    \"ksl_offset\": ");
    pen.number(signal.kslOffset);
    pen.raw(",\n    \"timestamp\": ");
    pen.number(signal.timestamp);
    if (!signal.descr.empty()) {
        pen.raw(",\n    \"value_description\": ");
        pen.string(signal.descr);
    }
    pen.raw(",\n    \"value\": ");
    if (isNumber(signal)) {
        pen.raw(signal.value);  // as the logger wrote it: every digit of a 64-bit number is kept
    } else {
        pen.string(signal.value);
    }
    pen.raw(",\n    \"status\": \"OK\"\n}");
}

}  // namespace

std::string_view SignalValueText::write(const SignalData& signal) {
    constexpr std::size_t kKeptRoom = std::size_t{64} << 10;
    const std::size_t length =
        signal.webappName.size() + signal.MAC.size() + signal.descr.size() + signal.value.size();
    const std::size_t room = kFixedRoom + JsonPen::kRoomPerByte * length;
    if (room > buffer_.size() || (buffer_.size() > kKeptRoom && room <= kKeptRoom)) {
        buffer_ = std::vector<char>(room);  // more, or no longer as much as one huge value took
    }
    JsonPen pen(buffer_.data());
    writeMessage(pen, signal);
    return pen.text();
}

}  // namespace klv
