#include "krpbus/messages/krp_get_event_index.h"

#include <ostream>

KRPResponseGetEventIndex::KRPResponseGetEventIndex(unsigned char whichIndex,
                                                   std::int32_t currentIndex)
    : KRPMessageResponse(kId), selector(whichIndex), index(currentIndex) {}

std::unique_ptr<MessageBase> KRPResponseGetEventIndex::clone() const {
    return std::make_unique<KRPResponseGetEventIndex>(*this);
}

void KRPResponseGetEventIndex::encodeResult(ByteWriter& writer) const {
    writer.number(selector);
    writer.number(index);
}

void KRPResponseGetEventIndex::decodeResult(ByteReader& reader) {
    selector = reader.number<unsigned char>();
    index = reader.number<std::int32_t>();
}

void KRPResponseGetEventIndex::printResult(std::ostream& out) const {
    out << " [selector=" << +selector << "] [index=" << index << "]";
}
