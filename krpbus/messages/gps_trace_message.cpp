#include "krpbus/messages/gps_trace_message.h"

#include <ostream>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"

std::unique_ptr<MessageBase> GPSTraceMessage::clone() const {
    return std::make_unique<GPSTraceMessage>(*this);
}

void GPSTraceMessage::encodeBody(ByteWriter& writer) const {
    writer.number(timestamp);
    writer.text(gprmcStatus);
    writer.number(latitude);
    writer.number(longitude);
}

std::unique_ptr<MessageBase> GPSTraceMessage::decodeBody(ByteReader& reader) {
    auto message = std::make_unique<GPSTraceMessage>();
    message->timestamp = reader.number<std::uint64_t>();
    message->gprmcStatus = reader.text();
    message->latitude = reader.real();
    message->longitude = reader.real();
    return message;
}

void GPSTraceMessage::print(std::ostream& out) const {
    out << "GPSTraceMessage [timestamp=" << timestamp << "] [gprmcStatus=" << gprmcStatus
        << "] [latitude=" << latitude << "] [longitude=" << longitude << "]";
}
