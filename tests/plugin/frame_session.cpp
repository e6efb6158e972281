#include "tests/plugin/frame_session.h"

#include "network/ksl_info.h"

void FrameSession::deliver(std::string_view frame) {
    session.wa_handle_message(reinterpret_cast<const unsigned char*>(frame.data()),
                              static_cast<unsigned>(frame.size()));
}

void FrameSession::deliverBinary(std::string_view frame) {
    session.wa_binary_handle_message(reinterpret_cast<const unsigned char*>(frame.data()),
                                     static_cast<unsigned>(frame.size()));
}

void FrameSession::setLoggerInfoComplete(bool complete) {
    const kslMsgState_t state = complete ? KSL_MSG_STATE_COMPLETE : KSL_MSG_STATE_UPDATE;
    kslInfo->configState = state;
    kslInfo->timeZoneState = state;
    kslInfo->deviceComponentsState = state;
}

std::vector<std::string> FrameSession::descriptions() const {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < connection.host.frames().size(); ++i) {
        const Document answer = connection.host.json(i);
        const bool described = answer.IsObject() && answer.HasMember("error_msg");
        texts.emplace_back(described ? std::string(answer["error_msg"].GetString(),
                                                   answer["error_msg"].GetStringLength())
                                     : "(none)");
    }
    return texts;
}

bool FrameSession::written(const std::string& text) const {
    return (capture.standardOutput() + capture.standardError()).find(text) != std::string::npos;
}
