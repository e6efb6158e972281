// Loggers, events and clocks for the tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "krpbus/messages/krp_get_event_list.h"
#include "krpbus/messages/simple_messages.h"
#include "network/ksl_info.h"
#include "tests/kit/loggers.h"

inline KRPResponseGetEventList::event_t event(std::uint64_t timestamp, const std::string& markerId,
                                              std::int32_t number = 0,
                                              const std::string& timeZone = "UTC") {
    return {timestamp, timeZone, number, markerId};
}

inline void knowNetwork(const std::vector<std::string>& neighbours) {
    kslInfo->setNeighbours({neighbours.begin(), neighbours.end()});
    kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
}

inline void knowOffset(const std::string& logger, std::int64_t offset) {
    const Simple1MessageResponse<89, long long> answer(offset);
    kslInfo->addKslTimeOffsetMessage(&answer, logger);
}
