#include "krpbus/messages/system_message.h"

#include <ostream>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"

SystemMessage::SystemMessage(unsigned char messageType, std::string messageText)
    : SystemMessage(kMessageID, messageType, std::move(messageText)) {}

SystemMessage::SystemMessage(messageID_t messageID, unsigned char messageType,
                             std::string messageText)
    : MessageBase(messageID), type(messageType), text(std::move(messageText)) {}

std::unique_ptr<MessageBase> SystemMessage::clone() const {
    return std::make_unique<SystemMessage>(*this);
}

void SystemMessage::encodeBody(ByteWriter& writer) const {
    writer.number(type);
    writer.text(text);
}

std::unique_ptr<MessageBase> SystemMessage::decodeBody(ByteReader& reader) {
    const auto type = reader.number<unsigned char>();
    return std::make_unique<SystemMessage>(type, reader.text());
}

void SystemMessage::print(std::ostream& out) const {
    out << "SystemMessage [type=" << +type << "] [text=" << text << "]";
}
