#include "json/wa_response_message.h"

#include <sstream>

#include "base/log.h"
#include "json/json_text.h"
#include "json/websocket_send.h"
#include "krpbus/messages/krp_message.h"

WaResponseMessage::WaResponseMessage()
    : server(currentServer()), document(rapidjson::kObjectType) {}

void WaResponseMessage::addText(const char* name, const std::string& text) {
    auto& allocator = document.GetAllocator();
    document.AddMember(rapidjson::StringRef(name), Value(text, allocator), allocator);
}

void WaResponseMessage::addStatus(kr_state state, kr_error_code code, const std::string& msg) {
    auto& allocator = document.GetAllocator();
    bool isError = false;
    switch (state) {
        case KR_STATE_OK:
            document.AddMember("status", "OK", allocator);
            break;
        case KR_STATE_PROGRESS:
            document.AddMember("status", "PROGRESS", allocator);
            break;
        case KR_STATE_WAITING_FOR_DATA:
            document.AddMember("status", "WAITING_FOR_DATA", allocator);
            break;
        default:
            addErrorCodeToDom(&document, code);
            isError = true;
            break;
    }
    if (!msg.empty()) {
        addText("error_msg", msg);
    } else if (isError) {
        LogUtil::log(LogLevel::Error, "addStatus", dom_to_string(&document));
    }
}

void WaResponseMessage::sendMessage() {
    if (!document.HasMember("response")) {
        return;
    }
    sendAndFreeText(dom_to_json(&document), server, "sendMessage");
}

void WaResponseKRPMessage::addKrpStatus(const KRPMessageResponse* reply) {
    auto& allocator = document.GetAllocator();
    switch (reply->getStatus()) {
        case KRPMessageResponse::KRPSTATUS_OK:
            document.AddMember("status", "OK", allocator);
            break;
        case KRPMessageResponse::KRPSTATUS_PROGRESS:
            // Fixed by the protocol: no "status", but a placeholder. The web application looks at
            // "krp_status".
            document.AddMember("krp_status", "KRPSTATUS_PROGRESS", allocator);
            document.AddMember("todo", "progress", allocator);
            LogUtil::log(LogLevel::Error, "addKrpStatus", "todo KRPSTATUS_PROGRESS");
            break;
        case KRPMessageResponse::KRPSTATUS_ERROR:
            LogUtil::log(LogLevel::Error, "addKrpStatus", "KRP message: " + reply->toString());
            document.AddMember("status", "ERROR", allocator);
            document.AddMember("krp_status", "ERROR", allocator);
            addKrpErrorCode(reply);
            break;
        case KRPMessageResponse::KRPSTATUS_NOTAVAILABLE:
            document.AddMember("status", "ERROR", allocator);
            document.AddMember("krp_status", "KRPSTATUS_NOTAVAILABLE", allocator);
            addKrpErrorCode(reply);
            break;
        default:
            document.AddMember("status", "ERROR", allocator);
            document.AddMember("error_code", "invalid_command", allocator);
            LogUtil::log(LogLevel::Error, "addKrpStatus",
                         "KRPMessageResponse: " + reply->toString());
            break;
    }
}

void WaResponseKRPMessage::addKrpErrorCode(const KRPMessageResponse* reply) {
    std::ostringstream code;
    code << reply->getErrorCode();
    const std::string& description = reply->getErrorDescription();

    document.AddMember("error_code", "krpbus_error", document.GetAllocator());
    addText("krp_error_code", code.str());
    // Fixed text: it names this status for every status that comes here.
    LogUtil::log(LogLevel::Error, "addKrpErrorCode",
                 "KRP status: KRPSTATUS_ERROR. errorCode_t: " + code.str() +
                     "\terrorDescription: " + description);
    if (!description.empty()) {
        addText("krp_error_description", description);
    }
}
