#include "network/common_commands.h"

#include "base/log.h"
#include "base/microsleep.h"
#include "json/kr_state.h"
#include "json/simple_response.h"
#include "krpbus/messages/simple_messages.h"
#include "network/bus_requests.h"
#include "network/common_responses.h"
#include "network/ksl_info.h"
#include "setup/lv_setup.h"

namespace {

constexpr const char* kTarget = "HandheldServer";

// Sleeps in steps of 100 ms until the state is "complete" or the steps are used up.
void waitForState(const KslInfo::State& state, int waitCount) {
    while (waitCount > 0 && state != KSL_MSG_STATE_COMPLETE) {
        microsleep(100000, false);
        --waitCount;
    }
}

bool anyInfoComplete(const KslInfo& info) {
    return info.configState == KSL_MSG_STATE_COMPLETE ||
           info.timeZoneState == KSL_MSG_STATE_COMPLETE ||
           info.deviceComponentsState == KSL_MSG_STATE_COMPLETE;
}

// Ends with the first complete collection, not with the last: the browser is shown early what there
// is, and asks again.
void waitForLoggerInfo(const KslInfo& info, int waitCount) {
    if (waitCount < 1 || anyInfoComplete(info)) {
        return;
    }
    LogUtil::log(LogLevel::Debug, "getLoggerInfo", "wait for logger config");
    while (waitCount > 0 && !anyInfoComplete(info)) {
        microsleep(100000, false);
        --waitCount;
    }
}

// Answers a command whose loggers' answers have nowhere to go, since this process has had its
// session; true when that is so.
bool refuseWithoutRecord(const Document& doc) {
    if (kslInfo != nullptr) {
        return false;
    }
    LogUtil::log(LogLevel::Error, "wa_handle_message_common", "no kslInfo");
    createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_WAIT_FOR_LOGGER_INFO, "");
    return true;
}

void sendToOne(const char* function, const MessageBase& request, const std::string& mac) {
    LogUtil::log(LogLevel::Debug, function,
                 "stp->krpbus_name=" + (stp != nullptr ? stp->krpbus_name : std::string()) +
                     " sourceMac=" + mac);
    sendMessage(request, kTarget, mac);
}

}  // namespace

int wa_handle_message_common(const std::string& cmd, const Document& doc) {
    if (cmd == "get_ksl_network") {
        getKSLNetwork(0);
    } else if (cmd == "get_ksl_time_offset") {
        if (!refuseWithoutRecord(doc)) {
            getKslTimeOffset(20);
        }
    } else if (cmd == "get_logger_info") {
        getLoggerInfo(20);
    } else if (cmd == "get_logger_status") {
        if (!refuseWithoutRecord(doc)) {
            getLoggerStatus(20);
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
    sendKslBroadcast(SimpleMessageRequest<82>(), kTarget);
    sendKslBroadcast(SimpleMessageRequest<53>(), kTarget);
    sendKslBroadcast(SimpleMessageRequest<117>(), kTarget);
    if (kslInfo != nullptr) {
        waitForLoggerInfo(*kslInfo, waitCount);
    }
    const bool complete = kslInfo != nullptr && kslInfo->loggerInfoComplete();
    LogUtil::log(LogLevel::Debug, "getLoggerInfo",
                 complete ? "complete logger info" : "incomplete logger info");
    const WaResponseGetLoggerInfo answer;
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
    sendKslBroadcast(SimpleMessageRequest<23>(), kTarget);
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
    sendKslBroadcast(SimpleMessageRequest<89>(), kTarget);
    if (waitCount > 0 && kslInfo->timeOffsetState != KSL_MSG_STATE_COMPLETE) {
        LogUtil::log(LogLevel::Debug, "getKslTimeOffset", "wait for ksl time offset");
        waitForState(kslInfo->timeOffsetState, waitCount);
    }
}

void getLoggerStatus(const std::string& mac) {
    sendToOne("getLoggerStatus", SimpleMessageRequest<23>(), mac);
}

void getTimeZone(const std::string& mac) {
    sendToOne("getTimeZone", SimpleMessageRequest<53>(), mac);
}

void getDeviceComponents(const std::string& mac) {
    sendToOne("getDeviceComponents", SimpleMessageRequest<117>(), mac);
}

void getLoggerConfig(const std::string& mac) {
    sendToOne("getLoggerConfig", SimpleMessageRequest<82>(), mac);
}

void getKslTimeOffset(const std::string& mac) {
    sendToOne("getKslTimeOffset", SimpleMessageRequest<89>(), mac);
}
