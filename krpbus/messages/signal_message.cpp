#include "krpbus/messages/signal_message.h"

#include <ostream>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"

std::atomic<int> BaseSignal::debug{0};

std::ostream& operator<<(std::ostream& out, signalValue_t type) {
    switch (type) {
        case SIGNALVALUE_UNKNOWN:
            return out << "SIGNALVALUE_UNKNOWN";
        case SIGNALVALUE_UNSIGNED:
            return out << "SIGNALVALUE_UNSIGNED";
        case SIGNALVALUE_SIGNED:
            return out << "SIGNALVALUE_SIGNED";
        case SIGNALVALUE_FLOAT:
            return out << "SIGNALVALUE_FLOAT";
        case SIGNALVALUE_DOUBLE:
            return out << "SIGNALVALUE_DOUBLE";
        case SIGNALVALUE_BOOL:
            return out << "SIGNALVALUE_BOOL";
        case SIGNALVALUE_STRING:
            return out << "SIGNALVALUE_STRING";
        case SIGNALVALUE_BYTES:
            return out << "SIGNALVALUE_BYTES";
    }
    return out << "SIGNALVALUE_" << std::to_string(static_cast<unsigned int>(type));
}

bool isNumeric(signalValue_t type) {
    return type >= SIGNALVALUE_UNSIGNED && type <= SIGNALVALUE_DOUBLE;
}

std::unique_ptr<MessageBase> SignalMessage::clone() const {
    return std::make_unique<SignalMessage>(*this);
}

void SignalMessage::encodeBody(ByteWriter& writer) const {
    writer.text(webappName);
    writer.number(timestamp);
    writer.text(instanceName);
    writer.text(unit);
    writer.text(value);
    writer.number(raw);
    writer.number(phys);
    writer.text(descr);
}

std::unique_ptr<MessageBase> SignalMessage::decodeBody(ByteReader& reader) {
    auto message = std::make_unique<SignalMessage>();
    message->webappName = reader.view();
    message->timestamp = reader.number<std::uint64_t>();
    message->instanceName = reader.view();
    message->unit = reader.view();
    message->value = reader.view();
    message->raw = reader.number<std::uint64_t>();
    message->phys = reader.real();
    message->descr = reader.view();
    return message;
}

void SignalMessage::print(std::ostream& out) const {
    out << "SignalMessage [timestamp=" << timestamp << "] [instanceName=" << instanceName
        << "] [webappName=" << webappName << "] [unit=" << unit << "] [value=" << value
        << "] [raw=" << raw << "] [phys=" << phys << "] [descr=" << descr << "]";
}
