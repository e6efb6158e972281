// Loggers, buses and figures for the tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/gps_trace_message.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "krpbus/messages/simple_messages.h"
#include "network/ksl_info.h"
#include "tests/kit/loggers.h"

inline KRPResponseGetBusNames::busName_t bus(busid_t id, unsigned char channel,
                                             unsigned char kslOffset, const std::string& name) {
    return {id, channel, kslOffset, name};
}

inline BusLoadExtMessage figure(busid_t id, std::uint8_t channel, std::int32_t value,
                                BusLoadExtMessage::unit_t unit = BusLoadExtMessage::UNIT_PERCENT,
                                std::uint64_t timestamp = 1700000000000001U) {
    BusLoadExtMessage message;
    message.busId = id;
    message.channel = channel;
    message.value = value;
    message.unit = unit;
    message.timestamp = timestamp;
    return message;
}

inline GPSTraceMessage gpsState(const std::string& status,
                                std::uint64_t timestamp = 1700000000000002U) {
    GPSTraceMessage message;
    message.gprmcStatus = status;
    message.timestamp = timestamp;
    return message;
}

// The network as a session knows it: the neighbours, and each logger's own name.
inline void knowNetwork(const std::vector<std::string>& neighbours) {
    kslInfo->setNeighbours({neighbours.begin(), neighbours.end()});
    kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
}

inline void knowName(const std::string& logger, const std::string& name) {
    const String2MessageResponse<82> config("configuration", name);
    kslInfo->addConfigMessage(&config, logger);
}
