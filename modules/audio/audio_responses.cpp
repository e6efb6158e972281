#include "modules/audio/audio_responses.h"

#include <string>

#include "base/log.h"
#include "krpbus/messages/krp_get_audio_list.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"
#include "modules/audio/audio_commands.h"
#include "modules/audio/audio_module.h"
#include "modules/audio/set_audio_file_response.h"

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

int audio_module_setup() {
    return 0;
}

int audio_module_destroy() {
    LogUtil::log(LogLevel::Debug, "audio_module_destroy", "destroy audio module");
    return 0;
}

int handleAudioMessages(const KRPMessageResponse* response) {
    if (const auto* stored =
            dynamic_cast<const SimpleMessageResponse<KRP_SET_AUDIO_FILE>*>(response)) {
        LogUtil::log(LogLevel::Debug, "handleAudioMessages",
                     "********* SetAudioFile **************");
        const WaResponseSetAudioFile answer(stored);
        // The browser gets the changed list without asking for it.
        getAudioList();
        return 1;
    }
    if (const auto* list = dynamic_cast<const KRPResponseGetAudioList*>(response)) {
        LogUtil::log(LogLevel::Debug, "handleAudioMessages",
                     "********* GetAudioList **************");
        const WaResponseGetAudioList answer(list);
        return 1;
    }
    return 0;
}
