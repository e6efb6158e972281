// Who a logger is: what it answers when it is asked about itself.
#pragma once

#include <cstdint>
#include <string>

namespace desk {

struct LoggerIdentity {
    std::string mac;               // upper case, "02:00:00:00:00:01"
    std::string name;              // the logger's own name
    std::string configName;        // the name of the configuration that it runs
    std::string timeZone;          // "Europe/Berlin"
    std::string softwareVersion;   // of the device
    std::string componentName;     // the name of the device itself
    std::uint8_t deviceClass = 1;  // class and sub-type say which kind of device it is
    std::uint8_t subType = 0;
    std::uint8_t status = 0;         // what request 23 is answered
    std::int64_t timeOffset = 0;     // own clock against that of the network, in microseconds
    std::uint8_t networkOffset = 0;  // what is added to the numbers of the own channels elsewhere
};

}  // namespace desk
