#include "krpbus/messages/keyboard_message.h"

#include <cstring>
#include <ostream>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"

std::unique_ptr<MessageBase> KeyboardMessage::clone() const {
    return std::make_unique<KeyboardMessage>(*this);
}

void KeyboardMessage::encodeBody(ByteWriter& writer) const {
    writer.number(keyCode);
    writer.number(pressed);
    writer.raw(&time, sizeof time);
}

std::unique_ptr<MessageBase> KeyboardMessage::decodeBody(ByteReader& reader) {
    const auto key = reader.number<unsigned char>();
    const auto pressed = reader.number<unsigned char>();
    std::uint64_t time = 0;
    const auto bytes = reader.raw(sizeof time);
    if (reader.ok()) {
        std::memcpy(&time, bytes.data(), sizeof time);
    }
    return std::make_unique<KeyboardMessage>(key, pressed, time);
}

void KeyboardMessage::print(std::ostream& out) const {
    out << "KeyboardMessage [keyCode=" << +keyCode << "] [pressed=" << +pressed
        << "] [time=" << time << "]";
}
