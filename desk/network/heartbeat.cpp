#include "desk/network/heartbeat.h"

#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include "base/clock.h"
#include "krpbus/messages/system_message.h"

namespace desk {

namespace {

std::string_view word(Heartbeat::Kind kind) {
    switch (kind) {
        case Heartbeat::Kind::Join:
            return "join";
        case Heartbeat::Kind::Alive:
            return "alive";
        case Heartbeat::Kind::Leave:
            return "leave";
    }
    return "";
}

}  // namespace

std::string Heartbeat::toText() const {
    return std::string(word(kind)) + " " + instance;
}

Heartbeat Heartbeat::fromText(const std::string& text) {
    const std::size_t blank = text.find(' ');
    Heartbeat heartbeat;
    if (blank != std::string::npos) {
        heartbeat.instance = text.substr(blank + 1);
    }
    for (const Kind kind : {Kind::Join, Kind::Leave}) {
        if (text.substr(0, blank) == word(kind)) {
            heartbeat.kind = kind;
        }
    }
    return heartbeat;
}

std::string Heartbeat::newInstance() {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%016" PRIx64 "-%ld", KRSystem::getTimeOfDay(),
                  static_cast<long>(getpid()));
    return text.data();
}

bool isHeartbeat(const MessageBase& message) {
    const auto* const system = dynamic_cast<const SystemMessage*>(&message);
    return system != nullptr && system->getType() == SystemMessage::SM_KSL_HEARTBEAT &&
           system->getDestination() == kHeartbeatBus;
}

}  // namespace desk
