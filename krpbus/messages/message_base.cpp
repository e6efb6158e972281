#include "krpbus/messages/message_base.h"

#include <cstring>
#include <ostream>
#include <sstream>

#include "krpbus/messages/byte_writer.h"

void MessageBase::encode(ByteWriter& writer) const {
    writer.number(messageID_);
    writer.number(sourceChannel_);
    encodeBody(writer);
}

unsigned int MessageBase::getSize() const {
    ByteWriter writer;
    encode(writer);
    return static_cast<unsigned int>(writer.size());
}

unsigned int MessageBase::writeToByteArray(unsigned char*& buffer, unsigned int size,
                                           bool allocate) const {
    ByteWriter writer;
    encode(writer);
    const auto bytes = writer.bytes();
    if (allocate) {
        buffer = new unsigned char[bytes.size()];
        std::memcpy(buffer, bytes.data(), bytes.size());
        return static_cast<unsigned int>(bytes.size());
    }
    if (buffer == nullptr || bytes.size() > size) {
        return 0;
    }
    std::memcpy(buffer, bytes.data(), bytes.size());
    buffer += bytes.size();
    return static_cast<unsigned int>(bytes.size());
}

std::string MessageBase::toString() const {
    std::ostringstream out;
    print(out);
    return std::move(out).str();
}

std::ostream& operator<<(std::ostream& out, const MessageBase& message) {
    message.print(out);
    return out;
}
