#include "desk/services/logger_info_service.h"

#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/simple_messages.h"

namespace desk {

std::unique_ptr<KRPMessageResponse> LoggerInfoService::answer(const KRPMessageRequest& request) {
    switch (request.getKrpMsgID()) {
        case 23:
            return std::make_unique<Simple1MessageResponse<23, unsigned char>>(identity_.status);
        case 53:
            return std::make_unique<StringMessageResponse<53, 1>>(identity_.timeZone);
        case 82:
            return std::make_unique<String2MessageResponse<82>>(identity_.configName,
                                                                identity_.name);
        case 89:
            return std::make_unique<Simple1MessageResponse<89, long long>>(identity_.timeOffset);
        case 117:
            return std::make_unique<KRPResponseGetDeviceComponents>(
                identity_.deviceClass, identity_.subType, identity_.softwareVersion,
                identity_.componentName);
        default:
            return nullptr;
    }
}

}  // namespace desk
