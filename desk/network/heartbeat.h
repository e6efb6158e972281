// The words by which loggers know of each other.
#pragma once

#include <string>
#include <string_view>

#include "krpbus/messages/message_base.h"

namespace desk {

/// The bus that heartbeats go to.
inline constexpr std::string_view kHeartbeatBus = "KSLHeartbeat";

/// What a heartbeat's text says: "<kind> <instance>".
struct Heartbeat {
    enum class Kind {
        Join,   // "join": wants to become a member and asks the members to show themselves
        Alive,  // "alive": is a member, and answers requests
        Leave,  // "leave": is a member no longer
    };

    Kind kind = Kind::Alive;
    /// Names one run of one program. The instance that was started earlier is the lesser text.
    std::string instance;

    std::string toText() const;
    /// Any text of another program's making counts as "alive": it does show that somebody is there.
    static Heartbeat fromText(const std::string& text);

    /// A name for this run of this process.
    static std::string newInstance();
};

/// Whether a received message is a heartbeat.
bool isHeartbeat(const MessageBase& message);

}  // namespace desk
