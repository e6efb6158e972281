// The audio files of a logger, as clients of the bus see them.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "desk/services/audio_store.h"
#include "desk/services/service.h"
#include "krpbus/messages/krp_set_audio_file.h"

namespace desk {

/// Answers request 86 (the audio files) and 87, which gives a file a time span and a marker. What
/// 87 names is an audio file that is there already, or the path of one that has just been uploaded;
/// that one is taken over.
class AudioService : public Service {
  public:
    /// Takes uploads over from that directory only, not from the ones below it: whoever can send on
    /// the bus must not make the logger move other files. The store must outlive this object.
    AudioService(AudioStore& store, std::filesystem::path uploadDirectory);

    std::string_view participant() const override { return kHandheldServer; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) override;

  private:
    std::unique_ptr<KRPMessageResponse> set(const KRPMessageRequest& request);
    void set(const KRPRequestSetAudioFile& request);
    bool isUpload(const std::filesystem::path& file) const;

    AudioStore& store_;
    const std::filesystem::path uploadDirectory_;
};

}  // namespace desk
