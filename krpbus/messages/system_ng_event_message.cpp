#include "krpbus/messages/system_ng_event_message.h"

#include <ostream>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"

SystemNgEventMessage::SystemNgEventMessage(unsigned long long time, eventid_t eventId,
                                           unsigned long long eventTime,
                                           const std::string& timeZone, const std::string& markerId,
                                           unsigned short number, const std::string& messageText)
    : SystemMessage(kMessageID, SM_EVENT, messageText),
      eventId_(eventId),
      eventTime_(eventTime),
      number_(number),
      time_(time),
      timeZone_(timeZone),
      markerId_(markerId) {}

std::unique_ptr<MessageBase> SystemNgEventMessage::clone() const {
    return std::make_unique<SystemNgEventMessage>(*this);
}

void SystemNgEventMessage::encodeBody(ByteWriter& writer) const {
    writer.number(eventId_);
    writer.number(eventTime_);
    writer.number(number_);
    writer.number(time_);
    writer.text(timeZone_);
    writer.text(markerId_);
    writer.text(text);
}

std::unique_ptr<MessageBase> SystemNgEventMessage::decodeBody(ByteReader& reader) {
    const auto eventId = reader.number<eventid_t>();
    const auto eventTime = reader.number<std::uint64_t>();
    const auto number = reader.number<std::uint16_t>();
    const auto time = reader.number<std::uint64_t>();
    const std::string timeZone = reader.text();
    const std::string markerId = reader.text();
    const std::string text = reader.text();
    return std::make_unique<SystemNgEventMessage>(time, eventId, eventTime, timeZone, markerId,
                                                  number, text);
}

void SystemNgEventMessage::print(std::ostream& out) const {
    out << "SystemNgEventMessage [eventId=" << +static_cast<std::uint8_t>(eventId_)
        << "] [eventTime=" << eventTime_ << "] [number=" << number_ << "] [time=" << time_
        << "] [timeZone=" << timeZone_ << "] [markerId=" << markerId_ << "] [text=" << text << "]";
}
