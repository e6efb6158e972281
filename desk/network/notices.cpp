#include "desk/network/notices.h"

#include <memory>

#include "base/log.h"
#include "desk/services/service.h"
#include "krpbus/messages/system_message.h"

namespace desk {

namespace {

void sendNotice(KRPBusClient& bus, unsigned char type, const std::string& text) {
    bus.sendToAll(std::string(kKrpBusServer), std::make_unique<SystemMessage>(type, text));
}

}  // namespace

void sendStateNotice(KRPBusClient& bus, const std::string& state) {
    LogUtil::log(LogLevel::Info, "sendStateNotice", state);
    sendNotice(bus, SystemMessage::SM_STATE, state);
}

void sendNetworkNotice(KRPBusClient& bus, const std::string& text) {
    LogUtil::log(LogLevel::Info, "sendNetworkNotice", text);
    sendNotice(bus, SystemMessage::SM_KSL, text);
}

}  // namespace desk
