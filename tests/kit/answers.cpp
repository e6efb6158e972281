#include "tests/kit/answers.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "json/document.h"
#include "json/json_text.h"

namespace {

std::string compact(const Document& document) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document.Accept(writer);
    return buffer.GetString();
}

}  // namespace

std::string compact(const std::string& json) {
    Document document;
    return document.Parse(json.c_str()).HasParseError() ? "no JSON: " + json : compact(document);
}

std::string errorAnswer(const std::string& response, const std::string& code,
                        const std::string& message) {
    Document answer(rapidjson::kObjectType);
    auto& allocator = answer.GetAllocator();
    const auto add = [&](const char* name, const std::string& text) {
        answer.AddMember(rapidjson::StringRef(name), Value(text, allocator), allocator);
    };
    add("response", response);
    add("status", "ERROR");
    add("error_code", code);
    if (!message.empty()) {
        add("error_msg", message);
    }
    return compact(answer);
}

std::string refusal(const std::string& response, const std::string& reason,
                    const std::string& request) {
    Document quoted;
    quoted.Parse(request.c_str());
    return errorAnswer(response, "invalid_command", reason + "(" + dom_to_string(&quoted) + ")");
}
