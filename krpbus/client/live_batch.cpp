#include "krpbus/client/live_batch.h"

#include <cstdint>

#include "krpbus/messages/byte_reader.h"

namespace krpbus {

namespace {

/// Whether the logger is one of those at the beginning of a payload. All of them are read.
bool isFor(ByteReader& reader, std::string_view mac) {
    bool found = false;
    for (auto left = reader.count(sizeof(std::uint32_t)); left > 0 && reader.ok(); --left) {
        found = reader.view() == mac || found;
    }
    return found;
}

}  // namespace

void beginBatch(ByteWriter& batch, std::span<const std::string> loggers) {
    batch.number(static_cast<std::uint32_t>(loggers.size()));
    for (const std::string& mac : loggers) {
        batch.text(mac);
    }
}

void addToBatch(ByteWriter& batch, std::span<const std::uint8_t> message) {
    batch.number(static_cast<std::uint32_t>(message.size()));
    batch.raw(message.data(), message.size());
}

bool splitBatch(const Received& batch, std::string_view mac, std::vector<Received>& parts) {
    ByteReader reader(batch.payload);
    const bool isOurs = isFor(reader, mac);
    const std::size_t before = parts.size();
    while (reader.ok() && isOurs && reader.remaining() > 0) {
        const auto message = reader.raw(reader.number<std::uint32_t>());
        if (message.empty()) {
            reader.fail();
            break;
        }
        Received& part = parts.emplace_back(batch);
        part.payload = message;
        part.sentForMany = true;
    }
    if (!reader.ok()) {
        parts.resize(before);
    }
    return reader.ok();
}

}  // namespace krpbus
