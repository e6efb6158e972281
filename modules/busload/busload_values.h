// The last load figure of every bus and the GPS state of every logger.
//
// All of it is guarded by one module mutex, held for the whole of each operation here, the sending
// included: the browser gets the figures of a bus in the order in which they were stored. Whatever
// sends must therefore not be called with a lock that an answer's building takes (the network
// record's), and nothing here takes the catalogue's mutex while it holds its own.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/gps_trace_message.h"

// The logger (MAC), the bus, and its channel counted from 0.
using BusKey = std::tuple<std::string, busid_t, unsigned char>;

// One bus of one logger.
struct BusloadData {
    busid_t busId = BUSID_UNKNOWN;
    std::uint8_t channel = 0;    // counted from 0
    std::uint8_t kslOffset = 0;  // channel offset in the logger network; 0: the local logger
    std::int32_t value = BusLoadExtMessage::kUnknown;  // in `unit`, or a special value
    std::string name;
    std::uint64_t timestamp = 0;  // microseconds since 1970 UTC; 0 before the first figure
    BusLoadExtMessage::unit_t unit = BusLoadExtMessage::UNIT_NONE;
};

// The GPS receiver of one logger.
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

// Stores a figure and shows it to the browser when the value is another one than before. Figures of
// buses that no catalogue has listed are dropped; MOST figures are shown and not kept. Bus thread.
void updateBusValue(const BusLoadExtMessage* message, const std::string& source);

// The same for a logger's GPS state. Bus thread.
void updateBusValueGps(const GPSTraceMessage* message, const std::string& source);

// Shows the current value of every bus. Any thread of the session.
void sendBusValues();

// Takes the buses of the catalogue over that are not known yet, unknown at first, and shows
// nothing: their figures count from now on. Any thread of the session.
void addCatalogueBuses();

// The same, then shows every bus of the catalogue and every GPS state. Any thread of the session.
void sendInitialValues();

// Makes every value unknown and shows the buses. Any thread of the session.
void busloadSetUnknown();
