#include "json/request_command.h"

#include <array>

#include "base/log.h"
#include "json/json_text.h"
#include "json/simple_response.h"

namespace {

const Value* findMember(const Document* doc, const char* name) {
    const auto member = doc->FindMember(name);
    return member == doc->MemberEnd() ? nullptr : &member->value;
}

const char* typeName(const Value& value) {
    static constexpr std::array kNames = {"Null",  "False",  "True",  "Object",
                                          "Array", "String", "Number"};
    return kNames[value.GetType()];
}

/// What the browser is told about a member that has the wrong type. Fixed by the protocol: two
/// blanks behind the expected type. The web application shows the text as it is.
std::string wrongTypeText(const Document* doc, const Value& value, const std::string& name,
                          const char* expected) {
    std::string text =
        "value of '" + name + "' must be a " + expected + " .  You send a " + typeName(value) + ".";
    if (value.IsNumber()) {
        text += " IsUint32: " + std::to_string(value.IsUint() ? 1 : 0) +
                ". IsDouble: " + std::to_string(value.IsDouble() ? 1 : 0);
    }
    return text + " . (" + dom_to_string(doc) + ")";
}

bool hasReadableCommand(const Document* doc) {
    const Value* command = findMember(doc, "command");
    return command != nullptr && command->IsString();
}

}  // namespace

int parseCommand(std::string& cmd, const Document* doc) {
    static const std::string* const kName = new std::string("command");
    const Value* value = findMember(doc, kName->c_str());
    if (value == nullptr) {
        const std::string request = dom_to_string(doc);
        LogUtil::log(LogLevel::Error, "parseCommand", "failed to parse webapp command " + request);
        createAndSendJSON_simple("undef_cmd", KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND,
                                 "no command name found. (" + request + ")");
        return -2;
    }
    if (!value->IsString()) {
        createAndSendJSON_parsingError(doc, value, kName, "string");
        return -1;
    }
    cmd = value->GetString();
    return 0;
}

int createAndSendJSON_simpleDoc(const Document* request, kr_state state, kr_error_code code,
                                const std::string& msg) {
    std::string cmd;
    if (parseCommand(cmd, request) != 0) {
        return -3;
    }
    createAndSendJSON_simple(cmd, state, code, msg);
    return 0;
}

void createAndSendJSON_parsingError(const Document* doc, const Value* value,
                                    const std::string* name, const char* expected) {
    const std::string description = wrongTypeText(doc, *value, *name, expected);
    LogUtil::log(LogLevel::Error, "createAndSendJSON_parsingError", description);
    if (*name == "command" && !hasReadableCommand(doc)) {
        // The request's own command is what cannot be read. Naming the answer after it would report
        // that once more, and so on without end.
        createAndSendJSON_simple("undef_cmd", KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND,
                                 description);
        return;
    }
    createAndSendJSON_simpleDoc(doc, KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND, description);
}
