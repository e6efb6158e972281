#include "krpbus/messages/krp_get_lv_signal_config.h"

#include <ostream>

#include "krpbus/messages/signal_message.h"

namespace {

using signalConfig_t = KRPResponseGetLVSignalConfig::signalConfig_t;

/// Four texts, four single bytes, two doubles and the table's size.
constexpr std::size_t kSmallestConfig = 4 * 4 + 4 + 2 * 8 + 4;
/// A raw value and a text.
constexpr std::size_t kSmallestTableEntry = 8 + 4;

void write(ByteWriter& writer, const signalConfig_t& config) {
    writer.text(config.instanceName);
    writer.text(config.webappName);
    writer.text(config.userName);
    writer.text(config.unit);
    writer.number(config.busId);
    writer.number(config.channel);
    writer.number(config.kslOffset);
    writer.number(config.valueType);
    writer.number(config.scale);
    writer.number(config.offset);
    writer.number(static_cast<std::uint32_t>(config.valueDescriptionTable.size()));
    for (const auto& [raw, text] : config.valueDescriptionTable) {
        writer.number(raw);
        writer.text(text);
    }
}

signalConfig_t read(ByteReader& reader) {
    signalConfig_t config;
    config.instanceName = reader.text();
    config.webappName = reader.text();
    config.userName = reader.text();
    config.unit = reader.text();
    config.busId = reader.number<busid_t>();
    config.channel = reader.number<unsigned char>();
    config.kslOffset = reader.number<unsigned char>();
    config.valueType = reader.number<unsigned char>();
    config.scale = reader.real();
    config.offset = reader.real();
    for (auto left = reader.count(kSmallestTableEntry); left > 0 && reader.ok(); --left) {
        const auto raw = reader.number<std::uint64_t>();
        config.valueDescriptionTable[raw] = reader.text();
    }
    return config;
}

}  // namespace

KRPResponseGetLVSignalConfig::KRPResponseGetLVSignalConfig(std::vector<signalConfig_t> signals)
    : KRPMessageResponse(kId), configs(std::move(signals)) {}

std::unique_ptr<MessageBase> KRPResponseGetLVSignalConfig::clone() const {
    return std::make_unique<KRPResponseGetLVSignalConfig>(*this);
}

void KRPResponseGetLVSignalConfig::encodeResult(ByteWriter& writer) const {
    writer.number(static_cast<std::uint32_t>(configs.size()));
    for (const signalConfig_t& config : configs) {
        write(writer, config);
    }
}

void KRPResponseGetLVSignalConfig::decodeResult(ByteReader& reader) {
    const auto size = reader.count(kSmallestConfig);
    configs.clear();
    configs.reserve(size);
    for (auto left = size; left > 0 && reader.ok(); --left) {
        configs.push_back(read(reader));
    }
}

void KRPResponseGetLVSignalConfig::printResult(std::ostream& out) const {
    for (const signalConfig_t& config : configs) {
        out << " [instanceName=" << config.instanceName << " webappName=" << config.webappName
            << " userName=" << config.userName << " unit=" << config.unit
            << " busId=" << config.busId << " channel=" << +config.channel
            << " kslOffset=" << +config.kslOffset
            << " valueType=" << static_cast<signalValue_t>(config.valueType)
            << " scale=" << config.scale << " offset=" << config.offset
            << " valueDescriptions=" << config.valueDescriptionTable.size() << "]";
    }
}
