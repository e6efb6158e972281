#include "json/simple_response.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "json/json_text.h"
#include "json/websocket_send.h"

namespace {

void addResponse(Document& doc, const std::string& cmd) {
    doc.AddMember("response", Value(cmd, doc.GetAllocator()), doc.GetAllocator());
}

/// Deliberately knows only success and failure; see the header.
void addSuccessOrError(Document& doc, kr_state state, kr_error_code code) {
    if (state == KR_STATE_OK) {
        doc.AddMember("status", "OK", doc.GetAllocator());
    } else {
        addErrorCodeToDom(&doc, code);
    }
}

}  // namespace

char* createJSONResponse_simple(const std::string& cmd, kr_state state, kr_error_code code,
                                const std::string& msg) {
    Document doc(rapidjson::kObjectType);
    addResponse(doc, cmd);
    addSuccessOrError(doc, state, code);
    if (!msg.empty()) {
        doc.AddMember("error_msg", Value(msg, doc.GetAllocator()), doc.GetAllocator());
    }
    return dom_to_json(&doc);
}

void createAndSendJSON_simple(const std::string& cmd, kr_state state, kr_error_code code,
                              const std::string& msg) {
    sendAndFreeText(createJSONResponse_simple(cmd, state, code, msg), currentServer(),
                    "createAndSendJSON_simple");
}

char* createJSONResponse_generic(const std::string& cmd, kr_state state, kr_error_code code,
                                 const std::pair<std::string, std::string>& key, int interval) {
    Document doc(rapidjson::kObjectType);
    auto& allocator = doc.GetAllocator();
    addResponse(doc, cmd);
    Value signalKey(rapidjson::kArrayType);
    signalKey.PushBack(Value(key.first, allocator), allocator);
    signalKey.PushBack(Value(key.second, allocator), allocator);
    doc.AddMember("signal_key", signalKey, allocator);
    doc.AddMember("interval", interval, allocator);
    addSuccessOrError(doc, state, code);
    return dom_to_json(&doc);
}

void createAndSendJSON_generic(const std::string& cmd, kr_state state, kr_error_code code,
                               const std::pair<std::string, std::string>& key, int interval) {
    const std::unique_ptr<char, decltype(&std::free)> text(
        createJSONResponse_generic(cmd, state, code, key, interval), &std::free);
    const std::size_t size = text ? std::strlen(text.get()) : 0;
    sendWebsocketMessage(reinterpret_cast<const unsigned char*>(text.get()),
                         static_cast<unsigned>(size));
}
