// Request 87: an audio file belongs to a time span and a marker. Its answer is
// SimpleMessageResponse<KRP_SET_AUDIO_FILE>.
#pragma once

#include <string>

#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"

class KRPRequestSetAudioFile
    : public Simple2MessageRequest<KRP_SET_AUDIO_FILE, unsigned int, unsigned int> {
  public:
    static constexpr krpMsgID_t kId = KRP_SET_AUDIO_FILE;

    KRPRequestSetAudioFile(unsigned int startTime, unsigned int endTime, std::string file,
                           std::string marker);

    std::unique_ptr<MessageBase> clone() const override;

    unsigned int getStartTime() const { return getFirst(); }
    unsigned int getEndTime() const { return getSecond(); }
    /// The path of an uploaded file, or the name of one that the service already holds.
    const std::string& getFileName() const { return fileName_; }
    const std::string& getMarkerId() const { return markerId_; }

  private:
    std::string fileName_;
    std::string markerId_;
};
