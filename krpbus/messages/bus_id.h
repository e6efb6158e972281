// The kinds of buses that a logger records.
#pragma once

#include <cstdint>
#include <iosfwd>

/// Any other value is valid on the bus, too, and counts as unknown.
enum busid_t : std::uint8_t {
    BUSID_UNKNOWN = 0,
    BUSID_CAN = 1,
    BUSID_SERIAL = 2,
    BUSID_MOST25 = 3,
    BUSID_FLEXRAY = 4,
    BUSID_LIN = 5,
    BUSID_ETHERNET = 6,
    BUSID_CAMERA = 7,
    BUSID_MOST150 = 8,
    BUSID_MOST50 = 9,
    BUSID_ANALOG = 10,
    BUSID_CCPXCP = 11,
    BUSID_GPIO = 12,
    BUSID_GPS = 13,
    BUSID_ECL = 14,
    BUSID_TTY = 16,
    BUSID_MII = 19,
};

/// The text of busIdText().
std::ostream& operator<<(std::ostream& out, busid_t id);

/// "BUSID_CAN" and so on; "BUSID_UNKNOWN" for every number without a text of its own.
const char* busIdText(busid_t id);
