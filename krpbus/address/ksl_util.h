// Addresses in the logger network: who this logger is, and how another one is named.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "krpbus/address/macaddr.h"

/// A forwarding address taken apart.
///   "ksl://<link>/<MAC>/<participant>"  one logger
///   "ksl://<link>/*/<participant>"      every logger but the one that forwards
struct KslAddress {
    std::uint8_t link = 0;
    bool allOthers = false;   // true: no MAC, every other logger is meant
    std::string mac;          // upper case; may be empty, then no logger has this address
    std::string participant;  // may hold any character, '/' too

    bool operator==(const KslAddress&) const = default;
};

struct KSLUtil {
    /// If `source` is a forwarding address of one logger: true, `link` and `mac` (upper case) are
    /// set. Otherwise, for a plain name and for "every other logger" too: false, nothing is
    /// changed.
    static bool parseForwardMsgAddr(const std::string& source, unsigned char& link,
                                    std::string& mac);

    /// Takes a forwarding address apart; nothing when `address` is a plain participant name.
    static std::optional<KslAddress> splitAddress(std::string_view address);

    /// The lowest hardware address of this machine's interfaces, the loopback not counted, or the
    /// environment's KRPBUS_MAC where that is a hardware address. Found once per process; all zero
    /// on a machine without one. Any thread.
    static const macaddr_t& findLowestMAC();

    /// The address of the participant `destination` on the logger `mac`, in upper case. An empty
    /// MAC gives an address that no logger has.
    static std::string createKslRouterMsgAddress(unsigned char link, const std::string& mac,
                                                 const std::string& destination);

    /// The address of the participant `destination` on every logger but the one that forwards.
    static std::string createKslBroadcastRouterMsgAddress(const std::string& destination);
};
