#include "modules/audio/audio_commands.h"

#include <memory>
#include <string>

#include "base/log.h"
#include "json/request_parsers.h"
#include "json/simple_response.h"
#include "krpbus/messages/krp_set_audio_file.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/simple_messages.h"
#include "modules/audio/audio_responses.h"
#include "modules/audio/php_version.h"
#include "modules/audio/upload_info.h"
#include "network/bus_requests.h"

namespace {

/// Makes the announcement the pending one; where another is pending, tells the browser so.
void announce(const std::shared_ptr<UploadInfoAudio>& info) {
    while (!uploadfileInfo.announce(info)) {
        // The pending one may be completed by the bus thread at this very moment.
        if (const auto pending = uploadfileInfo.get()) {
            const std::string text = "other data upload in progress: " + pending->toString();
            LogUtil::log(LogLevel::Error, "uploadAudioFile", text);
            sendResponse<WaResponseSetAudioFile>(info.get(), KR_STATE_ERROR,
                                                 KR_ERROR_OTHER_DATA_UPLOAD, text);
            return;
        }
    }
    LogUtil::log(LogLevel::Debug, "uploadAudioFile", "create audioFileInfo");
    LogUtil::log(LogLevel::Debug, "uploadAudioFile", "uploadfileInfo: " + info->toString());
    sendResponse<WaResponseSetAudioFile>(info.get(), KR_STATE_WAITING_FOR_DATA,
                                         KR_ERROR_UNSPECIFIED, "");
}

}  // namespace

void uploadAudioFile(const Document& doc) {
    php_version = 0;
    std::string name;
    std::string marker;
    unsigned startTime = 0;
    unsigned endTime = 0;
    if (parseString("name", name, &doc, false) != 0 ||
        parseString("marker_id", marker, &doc, false) != 0 ||
        parseUint("start_time", startTime, &doc) != 0 ||
        parseUint("end_time", endTime, &doc) != 0) {
        return;
    }
    // A file without an extension is as good as any other.
    std::string extension;
    parseString("file_extension", extension, &doc, true);
    announce(std::make_shared<UploadInfoAudio>(name, extension, startTime, endTime, marker));
}

void cancelDataUpload() {
    if (const auto pending = uploadfileInfo.take()) {
        LogUtil::log(LogLevel::Debug, "cancelDataUpload", "delete audio file");
        createAndSendJSON_simple("cancel_data_upload", KR_STATE_OK, KR_ERROR_TODO,
                                 pending->toString());
    }
    // Fixed by the protocol: sent after the first answer, too, so a cancel has two answers.
    createAndSendJSON_simple("cancel_data_upload", KR_STATE_OK, KR_ERROR_NO_DATA_UPLOAD, "");
}

void getAudioList() {
    LogUtil::log(LogLevel::Debug, "getAudioList", "GetAudioList");
    sendToOwnLogger(SimpleMessageRequest<KRP_GET_AUDIO_LIST>("NotSet"), kHandheldServer);
}

void setAudioFile(const Document& doc) {
    LogUtil::log(LogLevel::Debug, "setAudioFile", "SetAudioFile");
    php_version = 1;
    std::string file;
    unsigned startTime = 0;
    unsigned endTime = 0;
    if (parseString("audio_file", file, &doc, false) != 0 ||
        parseUint("start_time", startTime, &doc) != 0 ||
        parseUint("end_time", endTime, &doc) != 0) {
        return;
    }
    // Fixed by the protocol: without a marker the parser answers, and the request goes out all the
    // same.
    std::string marker;
    parseString("marker_id", marker, &doc, false);
    sendToOwnLogger(KRPRequestSetAudioFile(startTime, endTime, file, marker), kHandheldServer);
}
