// The answer to request 117: what kind of device a logger is.
#pragma once

#include <string>

#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_ids.h"

class KRPResponseGetDeviceComponents : public KRPMessageResponse {
  public:
    static constexpr krpMsgID_t kId = KRP_GET_DEVICE_COMPONENTS;

    KRPResponseGetDeviceComponents() : KRPMessageResponse(kId) {}
    KRPResponseGetDeviceComponents(unsigned char device, unsigned char type, std::string version,
                                   std::string componentName);

    std::unique_ptr<MessageBase> clone() const override;
    void decodeResult(ByteReader& reader) override;

    unsigned char deviceClass = 0;
    unsigned char subType = 0;
    std::string softwareVersion;
    std::string name;

  protected:
    void encodeResult(ByteWriter& writer) const override;
    void printResult(std::ostream& out) const override;
};
