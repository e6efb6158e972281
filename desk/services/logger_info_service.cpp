#include "desk/services/logger_info_service.h"

#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"

namespace desk {

std::unique_ptr<KRPMessageResponse> LoggerInfoService::answer(const KRPMessageRequest& request) {
    switch (request.getKrpMsgID()) {
        case KRP_GET_LOGGER_STATUS:
            return std::make_unique<Simple1MessageResponse<KRP_GET_LOGGER_STATUS, unsigned char>>(
                identity_.status);
        case KRP_GET_TIME_ZONE:
            return std::make_unique<StringMessageResponse<KRP_GET_TIME_ZONE, 1>>(
                identity_.timeZone);
        case KRP_GET_LOGGER_CONFIG:
            return std::make_unique<String2MessageResponse<KRP_GET_LOGGER_CONFIG>>(
                identity_.configName, identity_.name);
        case KRP_GET_KSL_TIME_OFFSET:
            return std::make_unique<Simple1MessageResponse<KRP_GET_KSL_TIME_OFFSET, long long>>(
                identity_.timeOffset);
        case KRP_GET_DEVICE_COMPONENTS:
            return std::make_unique<KRPResponseGetDeviceComponents>(
                identity_.deviceClass, identity_.subType, identity_.softwareVersion,
                identity_.componentName);
        default:
            return nullptr;
    }
}

}  // namespace desk
