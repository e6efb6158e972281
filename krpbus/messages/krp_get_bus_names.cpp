#include "krpbus/messages/krp_get_bus_names.h"

#include <ostream>

namespace {

/// Three single bytes and a text.
constexpr std::size_t kSmallestEntry = 3 + 4;

}  // namespace

KRPResponseGetBusNames::KRPResponseGetBusNames(std::vector<busName_t> buses)
    : KRPMessageResponse(kId), busNames(std::move(buses)) {}

std::unique_ptr<MessageBase> KRPResponseGetBusNames::clone() const {
    return std::make_unique<KRPResponseGetBusNames>(*this);
}

void KRPResponseGetBusNames::encodeResult(ByteWriter& writer) const {
    writer.number(static_cast<std::uint32_t>(busNames.size()));
    for (const busName_t& entry : busNames) {
        writer.number(entry.busId);
        writer.number(entry.channel);
        writer.number(entry.kslOffset);
        writer.text(entry.name);
    }
}

void KRPResponseGetBusNames::decodeResult(ByteReader& reader) {
    busNames.resize(reader.count(kSmallestEntry));
    for (busName_t& entry : busNames) {
        entry.busId = reader.number<busid_t>();
        entry.channel = reader.number<unsigned char>();
        entry.kslOffset = reader.number<unsigned char>();
        entry.name = reader.text();
    }
}

void KRPResponseGetBusNames::printResult(std::ostream& out) const {
    for (const busName_t& entry : busNames) {
        out << " [busId=" << entry.busId << " channel=" << +entry.channel
            << " kslOffset=" << +entry.kslOffset << " name=" << entry.name << "]";
    }
}
