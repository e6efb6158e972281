#include "modules/busload/bus_names_responses.h"

#include "base/log.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "krpbus/messages/signal_message.h"
#include "modules/busload/bus_vocabulary.h"
#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_commands.h"
#include "modules/busload/busload_values.h"
#include "network/ksl_info.h"
#include "network/waiting.h"

namespace {

Value busEntry(const KRPResponseGetBusNames::busName_t& bus, Document::AllocatorType& allocator) {
    Value entry(rapidjson::kObjectType);
    addBusIdToDom(entry, bus.busId, allocator);
    entry.AddMember("channel", shownChannel(bus.channel, bus.kslOffset), allocator);
    entry.AddMember("ksl_offset", static_cast<unsigned int>(bus.kslOffset), allocator);
    entry.AddMember("bus_name", Value(bus.name, allocator), allocator);
    return entry;
}

/// Loggers in the order of their names, buses in the order of each logger's answer.
Value busEntries(const BusInfo::BusnamesMap& catalogue, Document::AllocatorType& allocator) {
    Value entries(rapidjson::kArrayType);
    for (const auto& [logger, answer] : catalogue) {
        for (const auto& bus : answer->busNames) {
            entries.PushBack(busEntry(bus, allocator), allocator);
        }
    }
    return entries;
}

}  // namespace

WaResponseGetBusNames::WaResponseGetBusNames(const KRPResponseGetBusNames* answer,
                                             const std::string& source) {
    if (BaseSignal::debug != 0) {
        LogUtil::log(LogLevel::Info, "WaResponseGetBusNames",
                     ",[" + source + "]KRPResponseGetBusNames: " + answer->toString());
    }
    if (answer->getStatus() == KRPMessageResponse::KRPSTATUS_OK) {
        busInfo->addBusnamesMessage(answer, source);
        sendResponse<WaResponseGetBusNames>();
    } else if (answer->isBusy()) {
        // Again without a limit: a logger that starts up is busy for as long as that takes.
        klv::waitBeforeAskingAgain();
        getBusNames(source);
    } else {
        addFailure(*answer, source);
        sendMessage();
    }
}

void WaResponseGetBusNames::addFailure(const KRPResponseGetBusNames& answer,
                                       const std::string& source) {
    document.AddMember("response", "get_bus_names", document.GetAllocator());
    addText("source", source);
    addKrpStatus(&answer);
}

WaResponseGetBusNames::WaResponseGetBusNames() {
    const bool complete = busInfo->completeCollection(countNeighbours());
    auto& allocator = document.GetAllocator();
    document.AddMember("response", "get_bus_names", allocator);
    document.AddMember("busnames", busEntries(busInfo->getBusnamesMap(), allocator), allocator);
    addStatus(complete ? KR_STATE_OK : KR_STATE_PROGRESS, KR_ERROR_UNSPECIFIED, "");
    // Looked at before the browser has this: a start that it then sends shows the buses itself.
    const bool running = busInfo->running;
    sendMessage();
    if (running) {
        sendInitialValues();
    }
}
