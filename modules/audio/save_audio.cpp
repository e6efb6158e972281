#include "modules/audio/save_audio.h"

#include <memory>
#include <string>
#include <string_view>

#include "base/log.h"
#include "base/whole_file.h"
#include "json/simple_response.h"
#include "krpbus/messages/krp_set_audio_file.h"
#include "krpbus/messages/participants.h"
#include "modules/audio/audio_responses.h"
#include "modules/audio/upload_info.h"
#include "network/bus_requests.h"

namespace {

constexpr const char* kUploadDirectory = "/tmp/";

void tellService(const UploadInfoAudio& info, const std::string& path) {
    sendToOwnLogger(
        KRPRequestSetAudioFile(info.getStartTime(), info.getEndTime(), path, info.getMarkerId()),
        kHandheldServer);
}

}  // namespace

void save_audio(const unsigned char* data, unsigned int size, const UploadInfoAudio* info) {
    LogUtil::log(LogLevel::Debug, "save_audio", "save audio file");
    if (info == nullptr) {
        createAndSendJSON_simple(
            "upload_audio_file", KR_STATE_ERROR, KR_ERROR_NO_DATA_UPLOAD,
            "no audioFileInfo available, send command \"upload_audio_file\" first");
        return;
    }
    LogUtil::log(LogLevel::Debug, "save_audio", "audioFileInfo exists");
    if (info->isReceiving()) {
        sendResponse<WaResponseSetAudioFile>(info, KR_STATE_ERROR, KR_ERROR_OTHER_DATA_UPLOAD,
                                             "already data receiving.");
        return;
    }
    const std::string path = kUploadDirectory + info->getStoredName();
    LogUtil::log(LogLevel::Debug, "save_audio", "filename: " + path);
    // The directory is open to everybody: what somebody else has laid there is left alone.
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (!base::writeWholeFile(path, bytes, base::ExistingFile::OwnAlone)) {
        createAndSendJSON_simple("upload_audio_file", KR_STATE_ERROR, KR_ERROR_OTHER_DATA_UPLOAD,
                                 "Unable to open file " + path);
        return;
    }
    tellService(*info, path);
}
