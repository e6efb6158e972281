// The answer about the list of audio files.
#pragma once

#include "json/wa_response_message.h"

class KRPResponseGetAudioList;

// Built and sent by its constructor, on the bus thread. A failed bus answer has no "audio_list".
class WaResponseGetAudioList : public WaResponseKRPMessage {
  public:
    explicit WaResponseGetAudioList(const KRPResponseGetAudioList* answer);
};
