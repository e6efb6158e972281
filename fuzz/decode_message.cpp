// Feeds the message decoder with anything. What it takes for a message must come back as the same
// message; and what the inbox looks at without decoding must not stumble either.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "krpbus/client/live_data_key.h"
#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/message_base.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span bytes(data, size);
    krpbus::liveDataKey("krp.M.to.sender", bytes);
    const auto message = MessageBase::decode(bytes);
    if (!message) {
        return 0;
    }
    ByteWriter writer;
    message->encode(writer);
    const auto again = MessageBase::decode(writer.bytes());
    if (!again || again->toString() != message->toString() || message->getSize() != writer.size()) {
        std::abort();
    }
    return 0;
}
