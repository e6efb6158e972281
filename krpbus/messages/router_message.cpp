#include "krpbus/messages/router_message.h"

#include <ostream>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"

RouterMessage::RouterMessage(std::string_view sourceAddress, std::string_view destinationAddress,
                             std::unique_ptr<MessageBase> inner)
    : MessageBase(kMessageID),
      sourceAddress_(sourceAddress.substr(0, kMaxAddressLength)),
      destinationAddress_(destinationAddress.substr(0, kMaxAddressLength)),
      inner_(std::move(inner)) {}

RouterMessage::RouterMessage(const RouterMessage& other)
    : MessageBase(other),
      sourceAddress_(other.sourceAddress_),
      destinationAddress_(other.destinationAddress_),
      inner_(other.inner_ ? other.inner_->clone() : nullptr) {}

std::unique_ptr<MessageBase> RouterMessage::clone() const {
    return std::make_unique<RouterMessage>(*this);
}

void RouterMessage::encodeBody(ByteWriter& writer) const {
    writer.text(sourceAddress_);
    writer.text(destinationAddress_);
    const std::size_t lengthAt = writer.size();
    writer.number(std::uint32_t{0});
    if (inner_) {
        inner_->encode(writer);
        writer.patchLength(lengthAt, static_cast<std::uint32_t>(writer.size() - lengthAt - 4));
    }
}

std::unique_ptr<MessageBase> RouterMessage::decodeBody(ByteReader& reader) {
    const std::string_view source = reader.view();
    const std::string_view destination = reader.view();
    const auto bytes = reader.raw(reader.number<std::uint32_t>());
    if (!reader.ok() || reader.nesting() >= kMaxNesting) {
        return nullptr;
    }
    std::unique_ptr<MessageBase> inner;
    if (!bytes.empty()) {
        ByteReader innerReader(bytes, reader.nesting() + 1);
        inner = decode(innerReader);
        if (!inner) {
            return nullptr;
        }
    }
    return std::make_unique<RouterMessage>(source, destination, std::move(inner));
}

void RouterMessage::print(std::ostream& out) const {
    out << "RouterMessage [source=" << sourceAddress_ << "] [destination=" << destinationAddress_
        << "] [message=";
    if (inner_) {
        inner_->print(out);
    }
    out << "]";
}
