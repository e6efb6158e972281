#include "krpbus/messages/krp_set_audio_file.h"

KRPRequestSetAudioFile::KRPRequestSetAudioFile(unsigned int startTime, unsigned int endTime,
                                               std::string file, std::string marker)
    : Simple2MessageRequest(startTime, endTime),
      fileName_(std::move(file)),
      markerId_(std::move(marker)) {
    ByteWriter writer;
    writer.push2(fileName_, markerId_);
    payload.insert(payload.end(), writer.bytes().begin(), writer.bytes().end());
}

std::unique_ptr<MessageBase> KRPRequestSetAudioFile::clone() const {
    return std::make_unique<KRPRequestSetAudioFile>(*this);
}
