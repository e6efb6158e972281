#include "modules/audio/audio_responses.h"

#include <string>

#include "base/log.h"
#include "krpbus/messages/krp_get_audio_list.h"

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
