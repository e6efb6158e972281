#include "krpbus/messages/busload_message.h"

#include <ostream>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"

namespace {

void write(ByteWriter& writer, const BusLoadExtMessage::most_t& most) {
    writer.number(most.busStatus);
    writer.number(most.lock);
    writer.number(most.masterLock);
    writer.number(most.traffic);
    writer.number(most.numControlMsg);
    writer.number(most.bytesControlMsg);
    writer.number(most.numMdpMsg);
    writer.number(most.bytesMdpMsg);
    writer.number(most.numMepMsg);
    writer.number(most.bytesMepMsg);
    writer.number(most.numStreamingCh);
    writer.number(most.streamingChSize);
}

BusLoadExtMessage::most_t read(ByteReader& reader) {
    BusLoadExtMessage::most_t most;
    most.busStatus = reader.number<std::uint8_t>();
    most.lock = reader.number<BusLoadExtMessage::mostLock_t>();
    most.masterLock = reader.number<BusLoadExtMessage::mostLock_t>();
    most.traffic = reader.flag();
    most.numControlMsg = reader.number<std::uint32_t>();
    most.bytesControlMsg = reader.number<std::uint32_t>();
    most.numMdpMsg = reader.number<std::uint32_t>();
    most.bytesMdpMsg = reader.number<std::uint32_t>();
    most.numMepMsg = reader.number<std::uint32_t>();
    most.bytesMepMsg = reader.number<std::uint32_t>();
    most.numStreamingCh = reader.number<std::uint32_t>();
    most.streamingChSize = reader.number<std::uint32_t>();
    return most;
}

}  // namespace

const char* busLoadUnitText(BusLoadExtMessage::unit_t unit) {
    switch (unit) {
        case BusLoadExtMessage::UNIT_NONE:
            break;
        case BusLoadExtMessage::UNIT_PERCENT:
            return "UNIT_PERCENT";
        case BusLoadExtMessage::UNIT_BYTES_SEC:
            return "UNIT_BYTES_SEC";
        case BusLoadExtMessage::UNIT_KBYTES_SEC:
            return "UNIT_KBYTES_SEC";
        case BusLoadExtMessage::UNIT_MBYTES_SEC:
            return "UNIT_MBYTES_SEC";
        case BusLoadExtMessage::UNIT_GBYTES_SEC:
            return "UNIT_GBYTES_SEC";
        case BusLoadExtMessage::UNIT_FRAMES_SEC:
            return "UNIT_FRAMES_SEC";
        case BusLoadExtMessage::UNIT_KFRAMES_SEC:
            return "UNIT_KFRAMES_SEC";
        case BusLoadExtMessage::UNIT_BYTES:
            return "UNIT_BYTES";
        case BusLoadExtMessage::UNIT_KBYTES:
            return "UNIT_KBYTES";
        case BusLoadExtMessage::UNIT_MBYTES:
            return "UNIT_MBYTES";
        case BusLoadExtMessage::UNIT_GBYTES:
            return "UNIT_GBYTES";
    }
    return "UNIT_NONE";
}

std::ostream& operator<<(std::ostream& out, BusLoadExtMessage::unit_t unit) {
    return out << busLoadUnitText(unit);
}

std::unique_ptr<MessageBase> BusLoadExtMessage::clone() const {
    return std::make_unique<BusLoadExtMessage>(*this);
}

void BusLoadExtMessage::encodeBody(ByteWriter& writer) const {
    writer.number(busId);
    writer.number(channel);
    writer.number(kslOffset);
    writer.number(value);
    writer.number(timestamp);
    writer.number(unit);
    writer.number(most.has_value());
    if (most) {
        write(writer, *most);
    }
}

std::unique_ptr<MessageBase> BusLoadExtMessage::decodeBody(ByteReader& reader) {
    auto message = std::make_unique<BusLoadExtMessage>();
    message->busId = reader.number<busid_t>();
    message->channel = reader.number<std::uint8_t>();
    message->kslOffset = reader.number<std::uint8_t>();
    message->value = reader.number<std::int32_t>();
    message->timestamp = reader.number<std::uint64_t>();
    message->unit = reader.number<unit_t>();
    if (reader.flag()) {
        message->most = read(reader);
    }
    return message;
}

void BusLoadExtMessage::print(std::ostream& out) const {
    out << "BusLoadExtMessage [busId=" << busId << "] [channel=" << +channel
        << "] [kslOffset=" << +kslOffset << "] [value=" << value << "] [timestamp=" << timestamp
        << "] [unit=" << unit << "]";
    if (most) {
        out << " [most: busStatus=" << +most->busStatus << " lock=" << +most->lock
            << " masterLock=" << +most->masterLock << " traffic=" << most->traffic << "]";
    }
}
