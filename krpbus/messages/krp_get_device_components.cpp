#include "krpbus/messages/krp_get_device_components.h"

#include <ostream>

KRPResponseGetDeviceComponents::KRPResponseGetDeviceComponents(unsigned char device,
                                                               unsigned char type,
                                                               std::string version,
                                                               std::string componentName)
    : KRPMessageResponse(kId),
      deviceClass(device),
      subType(type),
      softwareVersion(std::move(version)),
      name(std::move(componentName)) {}

std::unique_ptr<MessageBase> KRPResponseGetDeviceComponents::clone() const {
    return std::make_unique<KRPResponseGetDeviceComponents>(*this);
}

void KRPResponseGetDeviceComponents::encodeResult(ByteWriter& writer) const {
    writer.number(deviceClass);
    writer.number(subType);
    writer.text(softwareVersion);
    writer.text(name);
}

void KRPResponseGetDeviceComponents::decodeResult(ByteReader& reader) {
    deviceClass = reader.number<unsigned char>();
    subType = reader.number<unsigned char>();
    softwareVersion = reader.text();
    name = reader.text();
}

void KRPResponseGetDeviceComponents::printResult(std::ostream& out) const {
    out << " [deviceClass=" << +deviceClass << "] [subType=" << +subType
        << "] [softwareVersion=" << softwareVersion << "] [name=" << name << "]";
}
