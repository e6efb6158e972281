// What is known of one bus, and of one GPS receiver.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/busload_message.h"

/// The logger (MAC), the bus, and its channel counted from 0.
using BusKey = std::tuple<std::string, busid_t, unsigned char>;

/// One bus of one logger.
struct BusloadData {
    busid_t busId = BUSID_UNKNOWN;
    std::uint8_t channel = 0;    // counted from 0
    std::uint8_t kslOffset = 0;  // channel offset in the logger network; 0: the local logger
    std::int32_t value = BusLoadExtMessage::kUnknown;  // in `unit`, or a special value
    std::string name;
    std::uint64_t timestamp = 0;  // microseconds since 1970 UTC; 0 before the first figure
    BusLoadExtMessage::unit_t unit = BusLoadExtMessage::UNIT_NONE;
};

/// The GPS receiver of one logger.
struct GpsData {
    static constexpr std::int32_t kFix = 0;

    std::int32_t value = BusLoadExtMessage::kUnknown;  // kFix while there is a valid fix
    std::string gprmcStatus;                           // "A": valid fix; as received last
    bool changed = false;                              // the status has changed since the start
    std::string name;
    std::uint8_t channel = 0;
    std::uint8_t kslOffset = 0;
    std::uint64_t timestamp = 0;  // of the last change, microseconds since 1970 UTC
};
