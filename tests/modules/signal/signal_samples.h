// Signals and values for the tests.
#pragma once

#include <cstdint>
#include <string>

#include "krpbus/messages/krp_get_lv_signal_config.h"
#include "krpbus/messages/signal_message.h"

inline constexpr const char* kLocalLogger = "02:00:00:00:00:01";
inline constexpr const char* kOtherLogger = "02:00:00:00:00:02";
inline constexpr const char* kThirdLogger = "02:00:00:00:00:03";

inline KRPResponseGetLVSignalConfig::signalConfig_t speedConfig(const std::string& name = "Speed") {
    KRPResponseGetLVSignalConfig::signalConfig_t config;
    config.instanceName = "CAN1." + name;
    config.webappName = name;
    config.userName = "my " + name;
    config.unit = "km/h";
    config.busId = BUSID_CAN;
    config.channel = 2;
    config.kslOffset = 0;
    config.valueType = SIGNALVALUE_DOUBLE;
    config.scale = 0.5;
    config.offset = -1.0;
    config.valueDescriptionTable = {{0, "standing"}, {1, "crawling"}};
    return config;
}

inline SignalMessage speedValue(const std::string& value = "12.5",
                                const std::string& name = "Speed") {
    SignalMessage message;
    message.timestamp = 1700000000000001U;
    message.instanceName = "CAN1." + name;
    message.webappName = name;
    message.unit = "km/h";
    message.value = value;
    message.raw = 25;
    message.phys = 12.5;
    message.descr = "driving";
    return message;
}
