#include "network/common_responses.h"

#include <list>
#include <utility>
#include <vector>

#include "base/log.h"
#include "json/document.h"
#include "json/kr_state.h"
#include "krpbus/address/ksl_config_file.h"
#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/message_kind.h"
#include "network/ksl_info.h"
#include "network/logger_type.h"
#include "setup/lv_setup.h"

namespace {

void addMember(Value& object, const char* name, std::string_view text,
               Document::AllocatorType& allocator) {
    object.AddMember(rapidjson::StringRef(name),
                     Value(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator),
                     allocator);
}

void addArray(Document& document, const char* name, Value&& array) {
    document.AddMember(rapidjson::StringRef(name), std::move(array), document.GetAllocator());
}

bool succeeded(const KRPMessageResponse& response) {
    return response.getStatus() == KRPMessageResponse::KRPSTATUS_OK;
}

void logComplete(const char* function, const char* what) {
    LogUtil::log(LogLevel::Debug, function,
                 std::string(what) + " Responses is complete, maybe we can send a response to KLV");
}

void logFailure(const char* function, const KRPMessageResponse& response, const std::string& mac) {
    LogUtil::log(LogLevel::Error, function, mac + ": " + response.toString());
}

/// A network of one logger and the control unit that belongs to it is not what a person calls a
/// network; the log tells it apart.
void checkForSingleLoggerAndHcu() {
    LogUtil::log(LogLevel::Debug, "WaResponseDeviceComponents", "Check for single Logger and HCU");
    KslInfo::ConfigMap configs;
    if (kslInfo->getNeighbours().size() > 1 || !kslInfo->getConfigMap(configs)) {
        return;
    }
    for (const auto& [mac, info] : configs) {
        if (isHandheldControlUnit(info.deviceClass, info.subType)) {
            LogUtil::log(LogLevel::Debug, "WaResponseDeviceComponents", "HCU found!");
        }
    }
}

std::string readNetworkName() {
    LogUtil::log(LogLevel::Debug, "WaResponseGetLoggerInfo", "Read xml KSL Config file...");
    const KSLConfigFile config;
    if (!config.isReadable()) {
        LogUtil::log(LogLevel::Debug, "WaResponseGetLoggerInfo", "Invalid Cfg: Can not set data!");
    }
    return config.getNetworkName();
}

Value configEntry(const std::string& mac, const KslInfo::logger_info_t& info,
                  Document::AllocatorType& allocator) {
    std::string loggerName;
    kslInfo->getLoggerName(mac, loggerName);
    Value entry(rapidjson::kObjectType);
    addMember(entry, "mac", mac, allocator);
    addMember(entry, "logger_name", loggerName, allocator);
    addMember(entry, "config_name", info.configName, allocator);
    addMember(entry, "timezone", info.timeZone, allocator);
    addMember(entry, "logger_type", getLoggerType(info.deviceClass, info.subType), allocator);
    addMember(entry, "softwareVersion", info.softwareVersion, allocator);
    return entry;
}

}  // namespace

int handleCommonMessages(const KRPMessageResponse* response, const std::string& mac) {
    switch (kindOf(response)) {
        case answerTo(KRP_GET_KSL_NEIGHBOURS):
            sendResponse<WaResponseGetKSLNetwork>(
                as<StringVectorMessageResponse<KRP_GET_KSL_NEIGHBOURS>>(response));
            return 1;
        case answerTo(KRP_GET_LOGGER_CONFIG):
            sendResponse<WaResponseGetLoggerConfig>(
                as<String2MessageResponse<KRP_GET_LOGGER_CONFIG>>(response), mac);
            return 1;
        case answerTo(KRP_GET_DEVICE_COMPONENTS):
            sendResponse<WaResponseDeviceComponents>(as<KRPResponseGetDeviceComponents>(response),
                                                     mac);
            return 1;
        case answerTo(KRP_GET_TIME_ZONE):
            sendResponse<WaResponseTimeZone>(
                as<StringMessageResponse<KRP_GET_TIME_ZONE, 1>>(response), mac);
            return 1;
        case answerTo(KRP_GET_LOGGER_STATUS):
            LogUtil::log(LogLevel::Debug, "handleCommonMessages",
                         "********* GetLoggerStatus **************");
            sendResponse<WaResponseGetLoggerStatus>(
                as<Simple1MessageResponse<KRP_GET_LOGGER_STATUS, unsigned char>>(response), mac);
            return 1;
        default:
            return 0;
    }
}

WaResponseGetKSLNetwork::WaResponseGetKSLNetwork(
    const StringVectorMessageResponse<KRP_GET_KSL_NEIGHBOURS>* response) {
    addText("response", "get_ksl_network");
    if (succeeded(*response)) {
        if (kslInfo != nullptr) {
            // The list first: a thread that polls the state reads the list once that is complete.
            kslInfo->setNeighbours({response->strings.begin(), response->strings.end()});
            kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
        }
        Value network(rapidjson::kArrayType);
        for (const std::string& mac : response->strings) {
            network.PushBack(Value(mac, document.GetAllocator()), document.GetAllocator());
        }
        addArray(document, "ksl_network", std::move(network));
    } else if (kslInfo != nullptr) {
        kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
    }
    addKrpStatus(response);
    sendMessage();
}

WaResponseGetLoggerStatus::WaResponseGetLoggerStatus(
    const Simple1MessageResponse<KRP_GET_LOGGER_STATUS, unsigned char>* response,
    const std::string& mac) {
    LogUtil::log(LogLevel::Debug, "WaResponseGetLoggerStatus",
                 "stp->krpbus_name=" + (stp != nullptr ? stp->krpbus_name : std::string()) + " " +
                     response->toString());
    if (!succeeded(*response)) {
        addText("response", "get_logger_status");
        addKrpStatus(response);
        sendMessage();
    } else if (kslInfo != nullptr) {
        kslInfo->addStateMessage(response, mac);
        if (kslInfo->completeStatus()) {
            logComplete("WaResponseGetLoggerStatus", "logger state");
            sendResponse<WaResponseGetLoggerStatus>();
        }
    }
}

WaResponseGetLoggerStatus::WaResponseGetLoggerStatus() {
    addText("response", "get_logger_status");
    Value loggers(rapidjson::kArrayType);
    const KslInfo::StatusMap statusMap =
        kslInfo != nullptr ? kslInfo->getStatusMap() : KslInfo::StatusMap();
    for (const auto& [mac, status] : statusMap) {
        std::string line = "mac=";
        line.append(mac).append(" status=").append(status);
        LogUtil::log(LogLevel::Debug, "WaResponseGetLoggerStatus", line);
        Value entry(rapidjson::kObjectType);
        addMember(entry, "mac", mac, document.GetAllocator());
        addMember(entry, "status", status, document.GetAllocator());
        loggers.PushBack(std::move(entry), document.GetAllocator());
    }
    addArray(document, "logger_status", std::move(loggers));
    addStatus(KR_STATE_OK, KR_ERROR_UNSPECIFIED, "");
    sendMessage();
}

WaResponseGetKslTimeOffset::WaResponseGetKslTimeOffset(
    const Simple1MessageResponse<KRP_GET_KSL_TIME_OFFSET, long long>* response,
    const std::string& mac) {
    if (!succeeded(*response)) {
        addText("response", "get_ksl_time_offset");
        addKrpStatus(response);
        sendMessage();
    } else if (kslInfo != nullptr) {
        kslInfo->addKslTimeOffsetMessage(response, mac);
        if (kslInfo->completeTimeOffset()) {
            logComplete("WaResponseGetKslTimeOffset", "ksl time offset");
            sendResponse<WaResponseGetKslTimeOffset>();
        }
    }
}

WaResponseGetKslTimeOffset::WaResponseGetKslTimeOffset() {
    addText("response", "get_ksl_time_offset");
    Value offsets(rapidjson::kArrayType);
    const KslInfo::TimeOffsetMap offsetMap =
        kslInfo != nullptr ? kslInfo->getKslTimeOffsetMap() : KslInfo::TimeOffsetMap();
    for (const auto& [mac, offset] : offsetMap) {
        Value entry(rapidjson::kObjectType);
        addMember(entry, "mac", mac, document.GetAllocator());
        entry.AddMember("time_offset", Value(offset), document.GetAllocator());
        offsets.PushBack(std::move(entry), document.GetAllocator());
    }
    addArray(document, "offset", std::move(offsets));
    addStatus(KR_STATE_OK, KR_ERROR_UNSPECIFIED, "");
    sendMessage();
}

WaResponseGetLoggerConfig::WaResponseGetLoggerConfig(
    const String2MessageResponse<KRP_GET_LOGGER_CONFIG>* response, const std::string& mac) {
    if (!succeeded(*response)) {
        logFailure("WaResponseGetLoggerConfig", *response, mac);
    } else if (kslInfo != nullptr) {
        kslInfo->addConfigMessage(response, mac);
        if (kslInfo->completeConfig()) {
            logComplete("WaResponseGetLoggerConfig", "config");
        }
    }
}

WaResponseTimeZone::WaResponseTimeZone(const StringMessageResponse<KRP_GET_TIME_ZONE, 1>* response,
                                       const std::string& mac) {
    if (!succeeded(*response)) {
        logFailure("WaResponseTimeZone", *response, mac);
    } else if (kslInfo != nullptr) {
        kslInfo->addTimeZoneMessage(response, mac);
        if (kslInfo->completeTimeZone()) {
            logComplete("WaResponseTimeZone", "timeZone");
        }
    }
}

WaResponseDeviceComponents::WaResponseDeviceComponents(
    const KRPResponseGetDeviceComponents* response, const std::string& mac) {
    if (!succeeded(*response)) {
        logFailure("WaResponseDeviceComponents", *response, mac);
    } else if (kslInfo != nullptr) {
        kslInfo->addDevCompMessage(response, mac);
        checkForSingleLoggerAndHcu();
        if (kslInfo->completeDeviceComponents()) {
            logComplete("WaResponseDeviceComponents", "device components");
        }
    }
}

WaResponseGetLoggerInfo::WaResponseGetLoggerInfo() {
    const bool inNetwork = kslInfo != nullptr && !kslInfo->getNeighbours().empty();
    addText("response", "get_logger_info");
    addText("ksl_name", inNetwork ? readNetworkName() : std::string());
    // Looked at before the entries are: answers may come meanwhile, and "OK" holds for all of them.
    const bool complete = kslInfo != nullptr && kslInfo->loggerInfoComplete();
    Value entries(rapidjson::kArrayType);
    KslInfo::ConfigMap configs;
    if (kslInfo != nullptr && kslInfo->getConfigMap(configs)) {
        for (const auto& [mac, info] : configs) {
            entries.PushBack(configEntry(mac, info, document.GetAllocator()),
                             document.GetAllocator());
        }
    }
    addArray(document, "configs", std::move(entries));
    addStatus(complete ? KR_STATE_OK : KR_STATE_PROGRESS, KR_ERROR_UNSPECIFIED, "");
    sendMessage();
}
