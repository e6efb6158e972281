// The answers about audio files.
#pragma once

#include <string>

#include "json/wa_response_message.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"

class KRPResponseGetAudioList;
class UploadInfoAudio;

/// Built and sent by its constructor, on the bus thread. A failed bus answer has no "audio_list".
class WaResponseGetAudioList : public WaResponseKRPMessage {
  public:
    explicit WaResponseGetAudioList(const KRPResponseGetAudioList* answer);
};

/// "upload_audio_file" and "set_audio_file". Sent on construction.
class WaResponseSetAudioFile : public WaResponseKRPMessage {
  public:
    /// `info` may be null, and is only read.
    WaResponseSetAudioFile(const UploadInfoAudio* info, kr_state state, kr_error_code error,
                           const std::string& text);
    /// The service's answer to request 87: completes the pending upload, or answers
    /// "set_audio_file", whichever command was sent last. Bus thread.
    explicit WaResponseSetAudioFile(const SimpleMessageResponse<KRP_SET_AUDIO_FILE>* answer);

  private:
    void completeUpload(const SimpleMessageResponse<KRP_SET_AUDIO_FILE>* answer);
    void addFileInfo(const UploadInfoAudio* info);
};
