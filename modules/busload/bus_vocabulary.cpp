#include "modules/busload/bus_vocabulary.h"

#include "network/ksl_info.h"

namespace {

bool isNetworkInUse() {
    return kslInfo != nullptr && kslInfo->networkInUse && !kslInfo->standsAlone;
}

}  // namespace

void addBusIdToDom(Value& object, busid_t id, Document::AllocatorType& allocator) {
    object.AddMember("bus_id", Value(rapidjson::StringRef(busIdText(id))), allocator);
}

void addBusloadUnitToDom(Value& object, BusLoadExtMessage::unit_t unit,
                         Document::AllocatorType& allocator) {
    object.AddMember("unit", Value(rapidjson::StringRef(busLoadUnitText(unit))), allocator);
}

bool isMostBus(busid_t id) {
    return id == BUSID_MOST25 || id == BUSID_MOST50 || id == BUSID_MOST150;
}

/// Counted from 1 on the local logger, but shifted by the offset alone on a member of the network,
/// whose offset has the 1 in it.
unsigned int shownChannel(std::uint8_t channel, std::uint8_t kslOffset) {
    if (kslOffset != 0 && isNetworkInUse()) {
        return static_cast<unsigned int>(channel) + kslOffset;
    }
    return static_cast<unsigned int>(channel) + 1;
}
