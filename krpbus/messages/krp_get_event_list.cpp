#include "krpbus/messages/krp_get_event_list.h"

#include <ostream>

namespace {

/// A time, a number and two texts.
constexpr std::size_t kSmallestEntry = 8 + 4 + 4 + 4;

}  // namespace

KRPResponseGetEventList::KRPResponseGetEventList(std::vector<event_t> list)
    : KRPMessageResponse(kId), events(std::move(list)) {}

std::unique_ptr<MessageBase> KRPResponseGetEventList::clone() const {
    return std::make_unique<KRPResponseGetEventList>(*this);
}

void KRPResponseGetEventList::encodeResult(ByteWriter& writer) const {
    writer.number(static_cast<std::uint32_t>(events.size()));
    for (const event_t& entry : events) {
        writer.number(entry.timestamp);
        writer.text(entry.time_zone);
        writer.number(entry.number);
        writer.text(entry.marker_id);
    }
}

void KRPResponseGetEventList::decodeResult(ByteReader& reader) {
    events.resize(reader.count(kSmallestEntry));
    for (event_t& entry : events) {
        entry.timestamp = reader.number<std::uint64_t>();
        entry.time_zone = reader.text();
        entry.number = reader.number<std::int32_t>();
        entry.marker_id = reader.text();
    }
}

void KRPResponseGetEventList::printResult(std::ostream& out) const {
    for (const event_t& entry : events) {
        out << " [timestamp=" << entry.timestamp << " time_zone=" << entry.time_zone
            << " number=" << entry.number << " marker_id=" << entry.marker_id << "]";
    }
}
