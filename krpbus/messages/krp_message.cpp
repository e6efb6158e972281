#include "krpbus/messages/krp_message.h"

#include <ostream>

std::unique_ptr<MessageBase> KRPMessageRequest::clone() const {
    return std::make_unique<KRPMessageRequest>(*this);
}

unsigned int KRPMessageRequest::getSize() const {
    return kHeaderSize + static_cast<unsigned int>(payload.size());
}

void KRPMessageRequest::encodeBody(ByteWriter& writer) const {
    writer.number(KRPKIND_REQUEST);
    writer.number(krpMsgID);
    writer.number(word);
    writer.number(count);
    writer.number(static_cast<std::uint32_t>(payload.size()));
    writer.raw(payload.data(), payload.size());
}

void KRPMessageRequest::print(std::ostream& out) const {
    out << "KRPMessageRequest [id=" << krpMsgID << "] [name=" << name << "] [payload=";
    static constexpr char kDigits[] = "0123456789abcdef";
    for (const std::uint8_t byte : payload) {
        out << kDigits[byte >> 4] << kDigits[byte & 0x0F];
    }
    out << "]";
}

std::ostream& operator<<(std::ostream& out, errorCode_t code) {
    switch (code) {
        case errorCode_t::None:
            return out << "KRPERROR_NONE";
        case errorCode_t::UnknownRequest:
            return out << "KRPERROR_UNKNOWN_REQUEST";
        case errorCode_t::InvalidParameter:
            return out << "KRPERROR_INVALID_PARAMETER";
        case errorCode_t::NotAllowed:
            return out << "KRPERROR_NOT_ALLOWED";
        case errorCode_t::NotFound:
            return out << "KRPERROR_NOT_FOUND";
        case errorCode_t::Timeout:
            return out << "KRPERROR_TIMEOUT";
        case errorCode_t::NoResources:
            return out << "KRPERROR_NO_RESOURCES";
        case errorCode_t::Busy:
            return out << "KRPERROR_BUSY";
        case errorCode_t::Internal:
            return out << "KRPERROR_INTERNAL";
    }
    return out << "KRPERROR_" << std::to_string(static_cast<unsigned int>(code));
}

void KRPMessageResponse::setError(std::uint8_t newStatus, errorCode_t code,
                                  std::string description) {
    status = newStatus;
    errorCode.assign(1, static_cast<std::uint8_t>(code));
    errorDescription = std::move(description);
}

void KRPMessageResponse::encodeBody(ByteWriter& writer) const {
    writer.number(KRPKIND_RESPONSE);
    writer.number(krpMsgID);
    writer.number(status);
    writer.number(static_cast<std::uint32_t>(errorCode.size()));
    writer.raw(errorCode.data(), errorCode.size());
    writer.text(errorDescription);
    const std::size_t lengthAt = writer.size();
    writer.number(std::uint32_t{0});
    if (status == KRPSTATUS_OK) {
        encodeResult(writer);
        writer.patchLength(lengthAt, static_cast<std::uint32_t>(writer.size() - lengthAt - 4));
    }
}

void KRPMessageResponse::print(std::ostream& out) const {
    out << "KRPMessageResponse [id=" << krpMsgID << "] [status=" << +status << "]";
    for (const std::uint8_t code : errorCode) {
        out << " [errorCode=" << static_cast<errorCode_t>(code) << "]";
    }
    if (!errorDescription.empty()) {
        out << " [errorDescription=" << errorDescription << "]";
    }
    printResult(out);
}
