#include "krpbus/messages/krp_get_rc_monitor_names.h"

#include <ostream>

namespace {

/// An index and a text.
constexpr std::size_t kSmallestEntry = 4 + 4;

}  // namespace

KRPResponseGetRCMonitorNames::KRPResponseGetRCMonitorNames(std::vector<rcMonitor_t> names)
    : KRPMessageResponse(kId), monitors(std::move(names)) {}

std::unique_ptr<MessageBase> KRPResponseGetRCMonitorNames::clone() const {
    return std::make_unique<KRPResponseGetRCMonitorNames>(*this);
}

void KRPResponseGetRCMonitorNames::encodeResult(ByteWriter& writer) const {
    writer.number(static_cast<std::uint32_t>(monitors.size()));
    for (const rcMonitor_t& entry : monitors) {
        writer.number(entry.index);
        writer.text(entry.name);
    }
}

void KRPResponseGetRCMonitorNames::decodeResult(ByteReader& reader) {
    monitors.resize(reader.count(kSmallestEntry));
    for (rcMonitor_t& entry : monitors) {
        entry.index = reader.number<std::uint32_t>();
        entry.name = reader.text();
    }
}

void KRPResponseGetRCMonitorNames::printResult(std::ostream& out) const {
    for (const rcMonitor_t& entry : monitors) {
        out << " [index=" << entry.index << " name=" << entry.name << "]";
    }
}
