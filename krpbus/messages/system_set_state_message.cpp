#include "krpbus/messages/system_set_state_message.h"

#include <ostream>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"

SystemSetStateKrpBusMessage::SystemSetStateKrpBusMessage(const std::string& status,
                                                         const std::string& description,
                                                         unsigned long long time)
    : SystemMessage(kMessageID, SM_KRPBUS_STATE, status), description_(description), time_(time) {}

std::unique_ptr<MessageBase> SystemSetStateKrpBusMessage::clone() const {
    return std::make_unique<SystemSetStateKrpBusMessage>(*this);
}

void SystemSetStateKrpBusMessage::encodeBody(ByteWriter& writer) const {
    writer.text(text);
    writer.text(description_);
    writer.number(time_);
}

std::unique_ptr<MessageBase> SystemSetStateKrpBusMessage::decodeBody(ByteReader& reader) {
    const std::string status = reader.text();
    const std::string description = reader.text();
    return std::make_unique<SystemSetStateKrpBusMessage>(status, description,
                                                         reader.number<std::uint64_t>());
}

void SystemSetStateKrpBusMessage::print(std::ostream& out) const {
    out << "SystemSetStateKrpBusMessage [status=" << text << "] [description=" << description_
        << "] [time=" << time_ << "]";
}
