#include "json/request_parsers.h"

#include "base/log.h"
#include "json/json_text.h"
#include "json/request_command.h"
#include "json/simple_response.h"

namespace {

const Value* findMember(const Document* doc, const std::string& name) {
    const auto member = doc->FindMember(name);
    return member == doc->MemberEnd() ? nullptr : &member->value;
}

/// The answer to a request that lacks a number.
void reportMissingNumber(const Document* doc, const char* function, const std::string& logged,
                         const std::string& description, const std::string& request) {
    LogUtil::log(LogLevel::Warning, function,
                 "failed to parse webapp command " + request + ": no entry for " + logged);
    // Another error state than that of a missing string. The browser sees "ERROR" either way.
    createAndSendJSON_simpleDoc(doc, KR_STATE_FAILED, KR_ERROR_INVALID_COMMAND,
                                description + request + ")");
}

}  // namespace

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
        // Fixed by the protocol: another wording than parseUint's. The web application shows both
        // as they are.
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
            // Unlike other texts a key is read to its end: a name may hold a zero byte.
            out.assign(found->value.GetString(), found->value.GetStringLength());
        }
    };
    copyString("name", name);
    copyString("mac", mac);
    return 0;
}
