// The answer to request 86: the audio files that the touch panel's service holds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_ids.h"

class KRPResponseGetAudioList : public KRPMessageResponse {
  public:
    static constexpr krpMsgID_t kId = KRP_GET_AUDIO_LIST;

    struct audioFile_t {
        std::uint32_t start_time = 0;
        std::uint32_t end_time = 0;
        std::string name;
        std::string marker_id;

        bool operator==(const audioFile_t&) const = default;
    };

    KRPResponseGetAudioList() : KRPMessageResponse(kId) {}
    explicit KRPResponseGetAudioList(std::vector<audioFile_t> files);

    std::unique_ptr<MessageBase> clone() const override;
    void decodeResult(ByteReader& reader) override;

    std::vector<audioFile_t> audioFiles;

  protected:
    void encodeResult(ByteWriter& writer) const override;
    void printResult(std::ostream& out) const override;
};
