#include "modules/audio/set_audio_file_response.h"

#include <memory>

#include "base/log.h"
#include "krpbus/messages/message_ids.h"
#include "modules/audio/audio_commands.h"
#include "modules/audio/upload_info.h"

WaResponseSetAudioFile::WaResponseSetAudioFile(const UploadInfoAudio* info, kr_state state,
                                               kr_error_code error, const std::string& text) {
    document.AddMember("response", "upload_audio_file", document.GetAllocator());
    addFileInfo(info);
    addStatus(state, error, text);
    sendMessage();
}

WaResponseSetAudioFile::WaResponseSetAudioFile(
    const SimpleMessageResponse<KRP_SET_AUDIO_FILE>* answer) {
    if (php_version != 0) {
        document.AddMember("response", "set_audio_file", document.GetAllocator());
        addKrpStatus(answer);
    } else {
        completeUpload(answer);
    }
    sendMessage();
}

void WaResponseSetAudioFile::completeUpload(
    const SimpleMessageResponse<KRP_SET_AUDIO_FILE>* answer) {
    document.AddMember("response", "upload_audio_file", document.GetAllocator());
    const std::shared_ptr<UploadInfo> pending = uploadfileInfo.take();
    if (pending == nullptr) {
        addStatus(KR_STATE_ERROR, KR_ERROR_INTERNAL_ERROR, "no audio upload in progress.");
        return;
    }
    const auto* audio = dynamic_cast<const UploadInfoAudio*>(pending.get());
    if (audio == nullptr) {
        uploadfileInfo.announce(pending);  // not ours to complete
        addStatus(KR_STATE_ERROR, KR_ERROR_INTERNAL_ERROR,
                  "other upload in progress" + pending->toString());
        return;
    }
    LogUtil::log(LogLevel::Debug, "WaResponseSetAudioFile", "Audio file: ");
    LogUtil::log(LogLevel::Debug, "WaResponseSetAudioFile", "msg: " + answer->toString());
    LogUtil::log(LogLevel::Debug, "WaResponseSetAudioFile", "delete audio file info ");
    addFileInfo(audio);
    addKrpStatus(answer);
}

void WaResponseSetAudioFile::addFileInfo(const UploadInfoAudio* info) {
    if (info == nullptr) {
        LogUtil::log(LogLevel::Debug, "addFileInfo", "No Upload information for audio");
        return;
    }
    auto& allocator = document.GetAllocator();
    addText("name", info->getName());
    addText("file_extension", info->getFileExtension());
    LogUtil::log(LogLevel::Debug, "addFileInfo", "marker_id: " + info->getMarkerId());
    addText("marker_id", info->getMarkerId());
    document.AddMember("start_time", info->getStartTime(), allocator);
    document.AddMember("end_time", info->getEndTime(), allocator);
}
