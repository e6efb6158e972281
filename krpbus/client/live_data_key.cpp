#include "krpbus/client/live_data_key.h"

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"

namespace krpbus {

namespace {

/// The parts of a key are kept apart by their lengths.
void append(std::string& key, std::string_view part) {
    key += std::to_string(part.size());
    key += ':';
    key += part;
}

std::optional<std::string> signalKey(std::string key, ByteReader& reader) {
    const std::string_view webappName = reader.view();
    reader.number<std::uint64_t>();
    const std::string_view instanceName = reader.view();
    if (!reader.ok()) {
        return std::nullopt;
    }
    key += 's';
    append(key, webappName);
    if (webappName.empty()) {
        append(key, instanceName);  // a value on a monitor's screen
    }
    return key;
}

std::optional<std::string> busLoadKey(std::string key, ByteReader& reader) {
    const auto bus = reader.number<std::uint8_t>();
    const auto channel = reader.number<std::uint8_t>();
    if (!reader.ok()) {
        return std::nullopt;
    }
    key += 'b';
    key += static_cast<char>(bus);
    key += static_cast<char>(channel);
    return key;
}

std::optional<std::string> keyOf(std::string key, ByteReader& reader, unsigned int nesting) {
    const auto messageID = reader.number<messageID_t>();
    reader.number<std::uint8_t>();
    switch (messageID) {
        case SignalMessage::kMessageID:
            return signalKey(std::move(key), reader);
        case BusLoadExtMessage::kMessageID:
            return busLoadKey(std::move(key), reader);
        case RouterMessage::kMessageID:
            break;
        default:
            return std::nullopt;
    }
    if (nesting == RouterMessage::kMaxNesting) {
        return std::nullopt;
    }
    append(key, reader.view());
    reader.view();
    reader.number<std::uint32_t>();
    return keyOf(std::move(key), reader, nesting + 1);
}

}  // namespace

std::optional<std::string> liveDataKey(std::string_view sender,
                                       std::span<const std::uint8_t> payload) {
    ByteReader reader(payload);
    std::string key;
    append(key, sender);
    return keyOf(std::move(key), reader, 0);
}

}  // namespace krpbus
