#include "krpbus/messages/bus_id.h"

#include <ostream>

const char* busIdText(busid_t id) {
    switch (id) {
        case BUSID_UNKNOWN:
            break;
        case BUSID_CAN:
            return "BUSID_CAN";
        case BUSID_SERIAL:
            return "BUSID_SERIAL";
        case BUSID_MOST25:
            return "BUSID_MOST25";
        case BUSID_FLEXRAY:
            return "BUSID_FLEXRAY";
        case BUSID_LIN:
            return "BUSID_LIN";
        case BUSID_ETHERNET:
            return "BUSID_ETHERNET";
        case BUSID_CAMERA:
            return "BUSID_CAMERA";
        case BUSID_MOST150:
            return "BUSID_MOST150";
        case BUSID_MOST50:
            return "BUSID_MOST50";
        case BUSID_ANALOG:
            return "BUSID_ANALOG";
        case BUSID_CCPXCP:
            return "BUSID_CCPXCP";
        case BUSID_GPIO:
            return "BUSID_GPIO";
        case BUSID_GPS:
            return "BUSID_GPS";
        case BUSID_ECL:
            return "BUSID_ECL";
        case BUSID_TTY:
            return "BUSID_TTY";
        case BUSID_MII:
            return "BUSID_MII";
    }
    return "BUSID_UNKNOWN";
}

std::ostream& operator<<(std::ostream& out, busid_t id) {
    return out << busIdText(id);
}
