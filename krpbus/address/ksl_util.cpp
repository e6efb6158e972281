#include "krpbus/address/ksl_util.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <memory>

#include "base/log.h"

namespace {

constexpr std::string_view kScheme = "ksl://";
constexpr std::string_view kAllOthers = "*";

std::string upperCase(std::string_view text) {
    std::string result(text);
    for (char& letter : result) {
        if (letter >= 'a' && letter <= 'z') {
            letter = static_cast<char>(letter - 'a' + 'A');
        }
    }
    return result;
}

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

bool KSLUtil::parseForwardMsgAddr(const std::string& source, unsigned char& link,
                                  std::string& mac) {
    auto address = splitAddress(source);
    if (!address || address->allOthers) {
        return false;
    }
    link = address->link;
    mac = std::move(address->mac);
    return true;
}

std::optional<KslAddress> KSLUtil::splitAddress(std::string_view address) {
    if (!address.starts_with(kScheme)) {
        return std::nullopt;
    }
    const std::string_view rest = address.substr(kScheme.size());
    const std::size_t linkEnd = rest.find('/');
    if (linkEnd == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t macEnd = rest.find('/', linkEnd + 1);
    if (macEnd == std::string_view::npos) {
        return std::nullopt;
    }
    KslAddress parts;
    const char* const linkStart = rest.data();
    const auto [end, error] = std::from_chars(linkStart, linkStart + linkEnd, parts.link);
    if (error != std::errc() || end != linkStart + linkEnd) {
        return std::nullopt;
    }
    const std::string_view mac = rest.substr(linkEnd + 1, macEnd - linkEnd - 1);
    parts.allOthers = mac == kAllOthers;
    if (!parts.allOthers) {
        parts.mac = upperCase(mac);
    }
    parts.participant = rest.substr(macEnd + 1);
    return parts;
}

const macaddr_t& KSLUtil::findLowestMAC() {
    static const macaddr_t lowest = ownAddress();
    return lowest;
}

std::string KSLUtil::createKslRouterMsgAddress(unsigned char link, const std::string& mac,
                                               const std::string& destination) {
    return std::string(kScheme) + std::to_string(link) + "/" + upperCase(mac) + "/" + destination;
}

std::string KSLUtil::createKslBroadcastRouterMsgAddress(const std::string& destination) {
    return std::string(kScheme) + "0/" + std::string(kAllOthers) + "/" + destination;
}
