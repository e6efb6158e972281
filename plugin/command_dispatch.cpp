// From a frame to the module that knows what to do with it.
#include <memory>
#include <sstream>
#include <string>

#include "base/log.h"
#include "json/request_command.h"
#include "json/request_parsers.h"
#include "json/simple_response.h"
#include "json/websocket_send.h"
#include "modules/audio/audio_responses.h"
#include "modules/audio/save_audio.h"
#include "modules/audio/upload_info.h"
#include "modules/module_table.h"
#include "network/ksl_info.h"
#include "plugin/lv_websocket.h"
#include "threads/keep_alive.h"

namespace {

/// The browser has sent text that is no request where it had announced data.
void abandonUpload(const unsigned char* data, unsigned size, const UploadInfo& upload) {
    std::ostringstream message;
    message << "Received a string message: ";
    if (data != nullptr) {
        message.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    message << "\n Expected a binary data upload."
            << "\n Canceling data upload progress: " << upload;
    LogUtil::log(LogLevel::Error, "wa_handle_message", message.str());
    sendResponse<WaResponseSetAudioFile>(dynamic_cast<const UploadInfoAudio*>(&upload),
                                         KR_STATE_ERROR, KR_ERROR_OTHER_DATA_UPLOAD, message.str());
}

bool isLoggerInfoComplete() {
    return kslInfo != nullptr && kslInfo->loggerInfoComplete();
}

}  // namespace

void LvWebsocket::wa_handle_message(const unsigned char* data, unsigned size) {
    Document doc;
    if (wa_setup_document(data, size, &doc) != 0) {
        if (const std::shared_ptr<UploadInfo> upload = uploadfileInfo.take()) {
            abandonUpload(data, size, *upload);
        }
        return;
    }
    std::string cmd;
    if (parseCommand(cmd, &doc) != 0) {
        return;
    }
    if (cmd == "ping") {
        sendPing();
        return;
    }
    if (moduleTable->common(cmd, doc) != 0) {
        return;
    }
    if (!isLoggerInfoComplete()) {
        createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_WAIT_FOR_LOGGER_INFO, "");
        return;
    }
    if (offerCommand(cmd, doc)) {
        return;
    }
    if (cmd == "close_webapp") {
        closeWebwsocket();
        return;
    }
    createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND, "");
}

void LvWebsocket::wa_binary_handle_message(const unsigned char* data, unsigned size) {
    LogUtil::log(LogLevel::Debug, "wa_binary_handle_message",
                 "binary_handle_message. Size: " + std::to_string(size));
    const std::shared_ptr<UploadInfo> upload = uploadfileInfo.get();
    if (const auto* audio = dynamic_cast<const UploadInfoAudio*>(upload.get())) {
        save_audio(data, size, audio);
        return;
    }
    const std::string reason =
        "no audioFileInfo available, send command \"upload_audio_file\" first";
    LogUtil::log(LogLevel::Error, "wa_binary_handle_message", reason);
    createAndSendJSON_simple("upload_audio_file", KR_STATE_ERROR, KR_ERROR_NO_DATA_UPLOAD, reason);
}
