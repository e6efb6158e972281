#include "krpbus/messages/krp_get_audio_list.h"

#include <ostream>

namespace {

/// Two times and two texts.
constexpr std::size_t kSmallestEntry = 4 + 4 + 4 + 4;

}  // namespace

KRPResponseGetAudioList::KRPResponseGetAudioList(std::vector<audioFile_t> files)
    : KRPMessageResponse(kId), audioFiles(std::move(files)) {}

std::unique_ptr<MessageBase> KRPResponseGetAudioList::clone() const {
    return std::make_unique<KRPResponseGetAudioList>(*this);
}

void KRPResponseGetAudioList::encodeResult(ByteWriter& writer) const {
    writer.number(static_cast<std::uint32_t>(audioFiles.size()));
    for (const audioFile_t& entry : audioFiles) {
        writer.number(entry.start_time);
        writer.number(entry.end_time);
        writer.text(entry.name);
        writer.text(entry.marker_id);
    }
}

void KRPResponseGetAudioList::decodeResult(ByteReader& reader) {
    audioFiles.resize(reader.count(kSmallestEntry));
    for (audioFile_t& entry : audioFiles) {
        entry.start_time = reader.number<std::uint32_t>();
        entry.end_time = reader.number<std::uint32_t>();
        entry.name = reader.text();
        entry.marker_id = reader.text();
    }
}

void KRPResponseGetAudioList::printResult(std::ostream& out) const {
    for (const audioFile_t& entry : audioFiles) {
        out << " [start_time=" << entry.start_time << " end_time=" << entry.end_time
            << " name=" << entry.name << " marker_id=" << entry.marker_id << "]";
    }
}
