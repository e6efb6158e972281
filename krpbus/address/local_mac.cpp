// Which hardware address this logger has: that of the environment, or else the lowest one of its
// interfaces.
#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "base/log.h"
#include "krpbus/address/ksl_util.h"

namespace {

bool isLoopback(const ifaddrs& interface) {
    return (interface.ifa_flags & IFF_LOOPBACK) != 0;
}

macaddr_t lowestInterfaceAddress() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
    std::optional<macaddr_t> lowest;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET ||
            isLoopback(*entry)) {
            continue;
        }
        const auto* link = reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
        macaddr_t address;
        if (link->sll_halen != address.bytes.size()) {
            continue;  // a tunnel
        }
        std::copy_n(link->sll_addr, address.bytes.size(), address.bytes.begin());
        // An interface without hardware behind it has no address of its own.
        if (address != macaddr_t{} && (!lowest || address < *lowest)) {
            lowest = address;
        }
    }
    return lowest.value_or(macaddr_t{});
}

macaddr_t ownAddress() {
    if (const char* configured = std::getenv("KRPBUS_MAC"); configured != nullptr) {
        if (const auto address = macaddr_t::parse(configured)) {
            return *address;
        }
        if (*configured != '\0') {
            LogUtil::log(LogLevel::Error, "findLowestMAC",
                         std::string("KRPBUS_MAC is not a hardware address: ") + configured);
        }
    }
    return lowestInterfaceAddress();
}

}  // namespace

const macaddr_t& KSLUtil::findLowestMAC() {
    static const macaddr_t lowest = ownAddress();
    return lowest;
}
