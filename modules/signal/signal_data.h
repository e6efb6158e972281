// One live-view signal of one logger, with its latest value.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <utility>

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/signal_message.h"

/// The name under which the web application knows a signal, and the MAC address of its logger.
using SignalKey = std::pair<std::string, std::string>;

/// A plain record without a lock of its own.
struct SignalData {
    SignalData() = default;
    SignalData(std::uint64_t timestamp_, const std::string& webappName_,
               const std::string& instanceName_, const std::string& mac, const std::string& unit_,
               const std::string& value_, std::uint64_t raw_, double phys_,
               const std::string& descr_,
               const std::map<std::uint64_t, std::string>& valueDescriptionTable_,
               const std::string& userName_, busid_t busId_, std::uint8_t channel_,
               std::uint8_t kslOffset_, signalValue_t valueType_, double scale_, double offset_,
               bool active_, bool valid_, std::uint32_t interval_);

    std::uint64_t timestamp = 0;  // of the latest value, microseconds since 1970 UTC; 0 without one
    std::string webappName;
    std::string instanceName;
    std::string MAC;  // of the logger
    std::string unit;
    std::string value;  // "NaN" until a value has arrived
    std::uint64_t raw = 0;
    double phys = 0.0;
    std::string descr;  // text of the value; empty when it has none
    std::map<std::uint64_t, std::string> valueDescriptionTable;  // raw value to text
    std::string userName;
    busid_t busId = BUSID_UNKNOWN;
    std::uint8_t channel = 0;    // as shown to the user
    std::uint8_t kslOffset = 0;  // channel offset in the logger network; 0: the local logger
    signalValue_t valueType = SIGNALVALUE_UNKNOWN;
    double scale = 0.0;
    double offset = 0.0;
    bool active = false;         // the browser has started the signal
    bool valid = false;          // belongs to the current configuration
    std::uint32_t interval = 0;  // the loggers' own rate applies; nothing here changes it
};

/// Lines for the log. They stand at the ground of the name space, where every caller finds them.
std::ostream& operator<<(std::ostream& out, const SignalKey& key);
/// The channel and its offset are written as single characters, not as numbers: the form that
/// readers of the log know.
std::ostream& operator<<(std::ostream& out, const SignalData& signal);
