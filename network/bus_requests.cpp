#include "network/bus_requests.h"

#include <ios>
#include <memory>

#include "base/log.h"
#include "base/mutex.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/message_base.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "network/ksl_info.h"
#include "network/waiting.h"
#include "setup/lv_setup.h"

using krpbus::LiveData;

namespace {

/// The session's bus client; null, after a line in the log, when the session has none.
KRPBusClient* busClient(const char* function) {
    KRPBusClient* client = stp != nullptr ? stp->krpbus : nullptr;
    if (client == nullptr) {
        LogUtil::log(LogLevel::Error, function, "no krpBusClient");
    }
    return client;
}

/// What the loggers are told.
struct LiveDataNotices {
    const char* start;
    const char* stop;
};

LiveDataNotices noticesOf(LiveData data) {
    return data == LiveData::Signals ? LiveDataNotices{"77-LVStartSignals", "78-LVStopSignals"}
                                     : LiveDataNotices{"75-LVStartBusload", "76-LVStopBusload"};
}

/// The loggers hear of starts and stops in the order in which the session has meant them, whichever
/// thread they come from. Taken before the bus client's own locks.
Mutex liveDataMutex;

void askForLiveData(LiveData data) REQUIRES(liveDataMutex) {
    SystemMessage start(SystemMessage::SM_STATE, noticesOf(data).start);
    start.setTakesShared(true);
    sendKslBroadcast(start, kHandheldServer);
}

/// A logger may have lost the notice with the connection, or have taken the session for gone when
/// it came back later than the logger. One that still knows it changes nothing.
void renewLiveData() {
    const MutexLocker lock(liveDataMutex);
    const KRPBusClient* const client = stp != nullptr ? stp->krpbus : nullptr;
    for (const LiveData data : {LiveData::Loads, LiveData::Signals}) {
        if (client != nullptr && client->listensToLive(data)) {
            askForLiveData(data);
        }
    }
}

RouterMessage wrap(const MessageBase& message, const std::string& address) {
    return RouterMessage(stp->krpbus_name, address, message.clone());
}

}  // namespace

void sendMessage(const MessageBase& message, const std::string& destination,
                 const std::string& mac) {
    KRPBusClient* client = busClient("sendMessage");
    if (client == nullptr) {
        return;
    }
    LogUtil::log(LogLevel::Debug, "sendMessage",
                 "send message to " + destination + " sourceMac=" + mac +
                     " stp->krpbus_name=" + stp->krpbus_name);
    // Only the upper-case form is this logger's own; any other goes to the forwarder.
    if (mac == KSLUtil::findLowestMAC().toString(std::ios::uppercase)) {
        client->sendTo(client->getName(), destination, message.clone());
        return;
    }
    const std::string address = KSLUtil::createKslRouterMsgAddress(0, mac, destination);
    LogUtil::log(LogLevel::Debug, "sendMessage", "destination: " + address);
    const RouterMessage routed = wrap(message, address);
    client->sendTo(client->getName(), kKslForwarder, routed.clone());
    LogUtil::log(LogLevel::Debug, "sendMessage", "RouterMessage" + routed.toString());
}

void sendToOwnLogger(const MessageBase& message, const std::string& destination) {
    if (KRPBusClient* client = stp != nullptr ? stp->krpbus : nullptr) {
        client->sendTo(client->getName(), destination, message.clone());
    }
}

void sendKslBroadcast(const MessageBase& message, const std::string& destination) {
    KRPBusClient* client = busClient("sendKslBroadcast");
    if (client == nullptr) {
        return;
    }
    client->sendTo(client->getName(), destination, message.clone());
    const RouterMessage routed =
        wrap(message, KSLUtil::createKslBroadcastRouterMsgAddress(destination));
    client->sendTo(client->getName(), kKslForwarder, routed.clone());
}

void startLiveData(LiveData data) {
    const MutexLocker lock(liveDataMutex);
    if (KRPBusClient* client = stp != nullptr ? stp->krpbus : nullptr) {
        client->listenToLive(data);  // first: the bus server learns it in this order
    }
    askForLiveData(data);
}

void stopLiveData(LiveData data) {
    const MutexLocker lock(liveDataMutex);
    sendKslBroadcast(SystemMessage(SystemMessage::SM_STATE, noticesOf(data).stop), kHandheldServer);
    if (KRPBusClient* client = stp != nullptr ? stp->krpbus : nullptr) {
        client->endListeningToLive(data);
    }
}

std::uint32_t busConnection() {
    return stp != nullptr && stp->krpbus != nullptr ? stp->krpbus->getConnectionCount() : 0;
}

void getKSLNetwork(int waitCount) {
    KslInfo* info = kslInfo;
    if (info == nullptr || info->beginNeighbours(busConnection())) {
        if (KRPBusClient* client = busClient("getKSLNetwork")) {
            client->sendTo(client->getName(), kHandheldServer,
                           std::make_unique<SimpleMessageRequest<KRP_GET_KSL_NEIGHBOURS>>());
        }
    }
    if (info != nullptr) {
        klv::waitInSteps(waitCount,
                         [info] { return info->neighboursState == KSL_MSG_STATE_COMPLETE; });
    }
}

void checkKSLNetwork(int waitCount) {
    if (kslInfo == nullptr) {
        LogUtil::log(LogLevel::Error, "checkKSLNetwork", "no kslInfo");
        return;
    }
    if (kslInfo->neighboursState == KSL_MSG_STATE_EMPTY) {
        LogUtil::log(LogLevel::Error, "checkKSLNetwork", "kslInfo->neighboursState undefined");
    }
    if (kslInfo->neighboursState != KSL_MSG_STATE_COMPLETE) {
        getKSLNetwork(waitCount);
    }
}

void networkBusReconnected() {
    if (kslInfo != nullptr) {
        kslInfo->busReconnected(busConnection());
    }
    renewLiveData();
}

void waRequestMessage_setup() {}

void waRequestMessage_destroy() {
    LogUtil::log(LogLevel::Debug, "waRequestMessage_destroy", "waRequestMessage module destroyed");
}
