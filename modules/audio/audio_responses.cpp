#include "modules/audio/audio_responses.h"

#include <memory>
#include <string>

#include "base/log.h"
#include "krpbus/messages/krp_get_audio_list.h"
#include "modules/audio/php_version.h"
#include "modules/audio/upload_info.h"

namespace {

void logEntry(const KRPResponseGetAudioList::audioFile_t& file) {
    LogUtil::log(LogLevel::Debug, "WaResponseGetAudioList",
                 "audio name: " + file.name + "\tmarker_id: " + file.marker_id +
                     "\tstart_time: " + std::to_string(file.start_time) +
                     "\tend_time: " + std::to_string(file.end_time));
}

}  // namespace

WaResponseGetAudioList::WaResponseGetAudioList(const KRPResponseGetAudioList* answer) {
    auto& allocator = document.GetAllocator();
    document.AddMember("response", "get_audio_list", allocator);
    if (answer->getStatus() == KRPMessageResponse::KRPSTATUS_OK) {
        Value list(rapidjson::kArrayType);
        for (const auto& file : answer->audioFiles) {
            logEntry(file);
            Value entry(rapidjson::kObjectType);
            entry.AddMember("name", Value(file.name, allocator), allocator);
            entry.AddMember("marker_id", Value(file.marker_id, allocator), allocator);
            entry.AddMember("start_time", file.start_time, allocator);
            entry.AddMember("end_time", file.end_time, allocator);
            list.PushBack(entry, allocator);
        }
        document.AddMember("audio_list", list, allocator);
    }
    addKrpStatus(answer);
    sendMessage();
}

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
