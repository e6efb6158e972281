// The answers "upload_audio_file" and "set_audio_file".
#pragma once

#include <string>

#include "json/wa_response_message.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"

class UploadInfoAudio;

// Sent on construction.
class WaResponseSetAudioFile : public WaResponseKRPMessage {
  public:
    // `info` may be null, and is only read.
    WaResponseSetAudioFile(const UploadInfoAudio* info, kr_state state, kr_error_code error,
                           const std::string& text);
    // The service's answer to request 87: completes the pending upload, or answers
    // "set_audio_file", whichever command was sent last. Bus thread.
    explicit WaResponseSetAudioFile(const SimpleMessageResponse<KRP_SET_AUDIO_FILE>* answer);

  private:
    void completeUpload(const SimpleMessageResponse<KRP_SET_AUDIO_FILE>* answer);
    void addFileInfo(const UploadInfoAudio* info);
};
