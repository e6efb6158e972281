#include "network/common_commands.h"

#include "base/log.h"
#include "json/kr_state.h"
#include "json/request_command.h"
#include "json/simple_response.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/simple_messages.h"
#include "network/bus_requests.h"
#include "network/common_responses.h"
#include "network/ksl_info.h"
#include "network/waiting.h"
#include "setup/lv_setup.h"

namespace {

void waitForState(const KslInfo::State& state, int waitCount) {
    klv::waitInSteps(waitCount, [&state] { return state == KSL_MSG_STATE_COMPLETE; });
}

bool anyInfoComplete(const KslInfo& info) {
    return info.configState == KSL_MSG_STATE_COMPLETE ||
           info.timeZoneState == KSL_MSG_STATE_COMPLETE ||
           info.deviceComponentsState == KSL_MSG_STATE_COMPLETE;
}

/// Ends with the first complete collection, not with the last: the browser is shown early what
/// there is, and asks again.
void waitForLoggerInfo(const KslInfo& info, int waitCount) {
    if (waitCount < 1 || anyInfoComplete(info)) {
        return;
    }
    LogUtil::log(LogLevel::Debug, "getLoggerInfo", "wait for logger config");
    klv::waitInSteps(waitCount, [&info] { return anyInfoComplete(info); });
}

/// Answers a command whose loggers' answers have nowhere to go, since this process has had its
/// session; true when that is so.
bool refuseWithoutRecord(const Document& doc) {
    if (kslInfo != nullptr) {
        return false;
    }
    LogUtil::log(LogLevel::Error, "wa_handle_message_common", "no kslInfo");
    createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_WAIT_FOR_LOGGER_INFO, "");
    return true;
}

/// Who sees nothing but an empty network most often has no logger under this machine's address.
void warnOfNobody(const KslInfo& info, int waitCount) {
    KslInfo::ConfigMap answered;
    if (waitCount < 1 || info.neighboursState == KSL_MSG_STATE_COMPLETE ||
        info.getConfigMap(answered) || stp == nullptr || stp->krpbus == nullptr ||
        !stp->krpbus->isConnected()) {
        return;
    }
    LogUtil::log(LogLevel::Warning, "getLoggerInfo",
                 "no logger answers under the address " + stp->krpbus->getMac() +
                     ", which is KRPBUS_MAC or else the lowest of this machine's interfaces");
}

void sendToOne(const char* function, const MessageBase& request, const std::string& mac) {
    LogUtil::log(LogLevel::Debug, function,
                 "stp->krpbus_name=" + (stp != nullptr ? stp->krpbus_name : std::string()) +
                     " sourceMac=" + mac);
    sendMessage(request, kHandheldServer, mac);
}

}  // namespace

int wa_handle_message_common(const std::string& cmd, const Document& doc) {
    if (cmd == "get_ksl_network") {
        getKSLNetwork(0);
    } else if (cmd == "get_ksl_time_offset") {
        if (!refuseWithoutRecord(doc)) {
            getKslTimeOffset(klv::kCommandWaitSteps);
        }
    } else if (cmd == "get_logger_info") {
        getLoggerInfo(klv::kCommandWaitSteps);
    } else if (cmd == "get_logger_status") {
        if (!refuseWithoutRecord(doc)) {
            getLoggerStatus(klv::kCommandWaitSteps);
        }
    } else {
        return 0;
    }
    return 1;
}

void getLoggerInfo(int waitCount) {
    LogUtil::log(LogLevel::Debug, "getLoggerInfo",
                 "GetLoggerInfo: timeout=" + std::to_string(waitCount));
    checkKSLNetwork(waitCount);
    if (kslInfo != nullptr) {
        kslInfo->resetConfigMap();
    }
    sendKslBroadcast(SimpleMessageRequest<KRP_GET_LOGGER_CONFIG>(), kHandheldServer);
    sendKslBroadcast(SimpleMessageRequest<KRP_GET_TIME_ZONE>(), kHandheldServer);
    sendKslBroadcast(SimpleMessageRequest<KRP_GET_DEVICE_COMPONENTS>(), kHandheldServer);
    if (kslInfo != nullptr) {
        waitForLoggerInfo(*kslInfo, waitCount);
    }
    if (kslInfo != nullptr) {
        warnOfNobody(*kslInfo, waitCount);
    }
    const bool complete = kslInfo != nullptr && kslInfo->loggerInfoComplete();
    LogUtil::log(LogLevel::Debug, "getLoggerInfo",
                 complete ? "complete logger info" : "incomplete logger info");
    sendResponse<WaResponseGetLoggerInfo>();
}

void getLoggerStatus(int waitCount) {
    LogUtil::log(LogLevel::Debug, "getLoggerStatus",
                 "GetLoggerStatus: timeout=" + std::to_string(waitCount));
    checkKSLNetwork(waitCount);
    if (kslInfo == nullptr) {
        return;
    }
    kslInfo->resetStatusMap();
    kslInfo->statusState = KSL_MSG_STATE_UPDATE;
    sendKslBroadcast(SimpleMessageRequest<KRP_GET_LOGGER_STATUS>(), kHandheldServer);
    if (waitCount > 0 && kslInfo->statusState != KSL_MSG_STATE_COMPLETE) {
        LogUtil::log(LogLevel::Debug, "getLoggerStatus", "wait for logger status");
        waitForState(kslInfo->statusState, waitCount);
    }
}

void getKslTimeOffset(int waitCount) {
    LogUtil::log(LogLevel::Debug, "getKslTimeOffset",
                 "GetKslTimeOffset: timeout=" + std::to_string(waitCount));
    checkKSLNetwork(waitCount);
    if (kslInfo == nullptr) {
        return;
    }
    kslInfo->resetKslTimeOffsetMap();
    kslInfo->timeOffsetState = KSL_MSG_STATE_UPDATE;
    sendKslBroadcast(SimpleMessageRequest<KRP_GET_KSL_TIME_OFFSET>(), kHandheldServer);
    if (waitCount > 0 && kslInfo->timeOffsetState != KSL_MSG_STATE_COMPLETE) {
        LogUtil::log(LogLevel::Debug, "getKslTimeOffset", "wait for ksl time offset");
        waitForState(kslInfo->timeOffsetState, waitCount);
    }
}

void getLoggerStatus(const std::string& mac) {
    sendToOne("getLoggerStatus", SimpleMessageRequest<KRP_GET_LOGGER_STATUS>(), mac);
}

void getTimeZone(const std::string& mac) {
    sendToOne("getTimeZone", SimpleMessageRequest<KRP_GET_TIME_ZONE>(), mac);
}

void getDeviceComponents(const std::string& mac) {
    sendToOne("getDeviceComponents", SimpleMessageRequest<KRP_GET_DEVICE_COMPONENTS>(), mac);
}

void getLoggerConfig(const std::string& mac) {
    sendToOne("getLoggerConfig", SimpleMessageRequest<KRP_GET_LOGGER_CONFIG>(), mac);
}

void getKslTimeOffset(const std::string& mac) {
    sendToOne("getKslTimeOffset", SimpleMessageRequest<KRP_GET_KSL_TIME_OFFSET>(), mac);
}
