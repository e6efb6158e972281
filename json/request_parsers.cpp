#include "json/request_parsers.h"

#include <array>
#include <string_view>

#include "base/log.h"
#include "json/json_text.h"
#include "json/simple_response.h"

namespace {

const Value* findMember(const Document* doc, const std::string& name) {
    const auto member = doc->FindMember(name);
    return member == doc->MemberEnd() ? nullptr : &member->value;
}

const char* typeName(const Value& value) {
    static constexpr std::array kNames = {"Null",  "False",  "True",  "Object",
                                          "Array", "String", "Number"};
    return kNames[value.GetType()];
}

// What the browser is told about a member that has the wrong type. The double blank behind the
// expected type is intended: the web application shows the text as it is.
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

// The answer to a request that lacks a number.
void reportMissingNumber(const Document* doc, const char* function, const std::string& logged,
                         const std::string& description, const std::string& request) {
    LogUtil::log(LogLevel::Warning, function,
                 "failed to parse webapp command " + request + ": no entry for " + logged);
    // The other error state than that of a missing string, intended: the browser sees "ERROR"
    // either way.
    createAndSendJSON_simpleDoc(doc, KR_STATE_FAILED, KR_ERROR_INVALID_COMMAND,
                                description + request + ")");
}

}  // namespace

int parseCommand(std::string& cmd, const Document* doc) {
    static const std::string* const kName = new std::string("command");
    const Value* value = findMember(doc, *kName);
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

int parseString(const std::string& name, std::string& value, const Document* doc, bool optional) {
    value.clear();
    if (name == "command") {
        const std::string request = dom_to_string(doc);
        LogUtil::log(LogLevel::Error, "parseString",
                     "deprecated: use parseCommand() to parse webapp command name: " + request);
        std::string cmd;
        if (parseCommand(cmd, doc) == 0) {
            createAndSendJSON_simple(
                cmd, KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND,
                "deprecated: use parseCommand() to parse webapp command name. (" + request + ")");
        }
        return -3;
    }
    if (const Value* member = findMember(doc, name)) {
        if (!member->IsString()) {
            createAndSendJSON_parsingError(doc, member, &name, "string");
            return -1;
        }
        value = member->GetString();
        return 0;
    }
    if (optional) {
        return -2;
    }
    const std::string request = dom_to_string(doc);
    LogUtil::log(LogLevel::Error, "parseString",
                 "failed to parse webapp command " + request + ": no entry for " + name);
    createAndSendJSON_simpleDoc(doc, KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND,
                                "no entry for '" + name + "'. (" + request + ")");
    return -2;
}

int parseUint(const std::string& name, unsigned& value, const Document* doc) {
    const Value* member = name.empty() ? nullptr : findMember(doc, name);
    if (member == nullptr) {
        reportMissingNumber(doc, "parseUint", name, "no entry for '" + name + "'. (",
                            dom_to_string(doc));
        return -2;
    }
    if (!member->IsUint()) {
        createAndSendJSON_parsingError(doc, member, &name, "uint32");
        return -1;
    }
    value = member->GetUint();
    return 0;
}

int parseInt(const std::string& name, int& value, const Document* doc) {
    const Value* member = name.empty() ? nullptr : findMember(doc, name);
    if (member == nullptr) {
        // Another wording than parseUint's, intended: the web application shows both as they are.
        reportMissingNumber(doc, "parseInt", "\"" + name + "\"", "no \"" + name + "\". (",
                            dom_to_string(doc));
        return -2;
    }
    if (!member->IsInt()) {
        createAndSendJSON_parsingError(doc, member, &name, "int32");
        return -1;
    }
    value = member->GetInt();
    return 0;
}

int parseSignalKey(std::string& name, std::string& mac, const Document& doc) {
    LogUtil::log(LogLevel::Debug, "parseSignalKey", "parse signal key ");
    const auto key = doc.FindMember("signal_key");
    if (key == doc.MemberEnd() || !key->value.IsObject()) {
        return -2;
    }
    const auto copyString = [&object = key->value](const char* member, std::string& out) {
        const auto found = object.FindMember(member);
        if (found != object.MemberEnd() && found->value.IsString()) {
            out = found->value.GetString();
        }
    };
    copyString("name", name);
    copyString("mac", mac);
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
