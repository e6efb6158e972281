#include "modules/audio/audio_module.h"

#include "base/log.h"
#include "krpbus/messages/krp_get_audio_list.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/message_kind.h"
#include "krpbus/messages/simple_messages.h"
#include "modules/audio/audio_commands.h"
#include "modules/audio/audio_responses.h"

int audio_module_setup() {
    return 0;
}

int audio_module_destroy() {
    LogUtil::log(LogLevel::Debug, "audio_module_destroy", "destroy audio module");
    return 0;
}

int wa_handle_message_audio(const std::string& cmd, const Document& doc) {
    if (cmd == "get_audio_list") {
        getAudioList();
    } else if (cmd == "upload_audio_file") {
        uploadAudioFile(doc);
    } else if (cmd == "cancel_data_upload") {
        cancelDataUpload();
    } else if (cmd == "set_audio_file") {
        setAudioFile(doc);
    } else {
        return 0;
    }
    return 1;
}

int handleAudioMessages(const KRPMessageResponse* response) {
    switch (kindOf(response)) {
        case answerTo(KRP_SET_AUDIO_FILE):
            LogUtil::log(LogLevel::Debug, "handleAudioMessages",
                         "********* SetAudioFile **************");
            sendResponse<WaResponseSetAudioFile>(
                as<SimpleMessageResponse<KRP_SET_AUDIO_FILE>>(response));
            // The browser gets the changed list without asking for it.
            getAudioList();
            return 1;
        case answerTo(KRP_GET_AUDIO_LIST):
            LogUtil::log(LogLevel::Debug, "handleAudioMessages",
                         "********* GetAudioList **************");
            sendResponse<WaResponseGetAudioList>(as<KRPResponseGetAudioList>(response));
            return 1;
        default:
            return 0;
    }
}
