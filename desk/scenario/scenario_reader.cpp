#include "desk/scenario/scenario_reader.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

namespace desk {

namespace {

using Value = rapidjson::Value;

[[noreturn]] void fail(const std::string& where, const std::string& what) {
    throw ScenarioError(where.empty() ? what : where + ": " + what);
}

std::string memberPath(const std::string& parent, const std::string& name) {
    return parent.empty() ? name : parent + "." + name;
}

std::string lineAndColumn(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t lineStart = before.rfind('\n');
    const std::size_t column =
        lineStart == std::string_view::npos ? before.size() + 1 : before.size() - lineStart;
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

const Value& requireObject(const Value& value, const std::string& path) {
    if (!value.IsObject()) {
        fail(path, "must be an object");
    }
    std::set<std::string_view> names;
    for (const auto& member : value.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        if (!names.insert(name).second) {
            fail(memberPath(path, std::string(name)), "stands there twice");
        }
    }
    return value;
}

std::string readText(const Value& value, const std::string& path) {
    if (!value.IsString()) {
        fail(path, "must be a text");
    }
    return {value.GetString(), value.GetStringLength()};
}

bool readSwitch(const Value& value, const std::string& path) {
    if (!value.IsBool()) {
        fail(path, "must be true or false");
    }
    return value.GetBool();
}

std::uint32_t readNumber(const Value& value, const std::string& path, std::uint32_t largest) {
    if (!value.IsUint() || value.GetUint() > largest) {
        fail(path, "must be a whole number from 0 to " + std::to_string(largest));
    }
    return value.GetUint();
}

Milliseconds readDuration(const Value& value, const std::string& path) {
    const std::string text = readText(value, path);
    const auto duration = parseDuration(text);
    if (!duration) {
        fail(path, durationHelp(text));
    }
    return *duration;
}

/// The bus status and error code of a failing answer, gathered from up to three members.
Failure& failureOf(Behaviour& behaviour) {
    if (!behaviour.failure) {
        behaviour.failure.emplace();
    }
    return *behaviour.failure;
}

void readBehaviourMember(Behaviour& behaviour, const std::string& name, const Value& value,
                         const std::string& path) {
    if (name == "delay") {
        behaviour.delay = readDuration(value, path);
    } else if (name == "busy") {
        behaviour.busy = readNumber(value, path, 1000000);
    } else if (name == "status") {
        failureOf(behaviour).status = static_cast<std::uint8_t>(readNumber(value, path, 255));
    } else if (name == "error_code") {
        failureOf(behaviour).errorCode = static_cast<errorCode_t>(readNumber(value, path, 255));
    } else if (name == "description") {
        failureOf(behaviour).description = readText(value, path);
    } else if (name == "answers") {
        behaviour.answers = readNumber(value, path, 100);
    } else if (name == "malformed") {
        behaviour.malformed = readSwitch(value, path);
    } else if (name == "leave") {
        behaviour.leave = readSwitch(value, path);
    } else {
        fail(path,
             "is not known; a request's behaviour has \"delay\", \"busy\", \"status\", "
             "\"error_code\", \"description\", \"answers\", \"malformed\" and \"leave\"");
    }
}

Behaviour readBehaviour(const Value& value, const std::string& path) {
    Behaviour behaviour;
    for (const auto& member : requireObject(value, path).GetObject()) {
        const std::string name(member.name.GetString(), member.name.GetStringLength());
        readBehaviourMember(behaviour, name, member.value, memberPath(path, name));
    }
    if (behaviour.failure && behaviour.failure->status == KRPMessageResponse::KRPSTATUS_OK) {
        fail(memberPath(path, "status"), "must not be 0, which means success");
    }
    const bool silent = behaviour.answers == 0;
    if (silent && (behaviour.busy != 0 || behaviour.failure || behaviour.malformed)) {
        fail(memberPath(path, "answers"), "is 0, so there is nothing that could be otherwise odd");
    }
    Behaviour onlyLeaving;
    onlyLeaving.leave = true;
    if (behaviour.leave && behaviour != onlyLeaving) {
        fail(memberPath(path, "leave"), "does not go with other members: there is no answer");
    }
    return behaviour;
}

krpMsgID_t readRequestId(const std::string& name, const std::string& path) {
    krpMsgID_t id = 0;
    const char* const end = name.data() + name.size();
    const auto [stopped, error] = std::from_chars(name.data(), end, id);
    // One spelling per number, so that no request can have two entries.
    if (error != std::errc{} || stopped != end || name != std::to_string(id)) {
        fail(path, "is not a request's number; write \"53\", or \"*\" for all others");
    }
    return id;
}

void readRequests(Scenario& scenario, const Value& value, const std::string& path) {
    for (const auto& member : requireObject(value, path).GetObject()) {
        const std::string name(member.name.GetString(), member.name.GetStringLength());
        const std::string entry = memberPath(path, name);
        if (name == "*") {
            scenario.others = readBehaviour(member.value, entry);
        } else {
            const krpMsgID_t id = readRequestId(name, entry);
            scenario.requests[id] = readBehaviour(member.value, entry);
        }
    }
}

}  // namespace

Scenario parseScenario(std::string_view json) {
    rapidjson::Document document;
    // The iterative parser: nesting in the file must not become nesting of calls.
    document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
    if (document.HasParseError()) {
        fail(lineAndColumn(json, document.GetErrorOffset()),
             rapidjson::GetParseError_En(document.GetParseError()));
    }
    if (!document.IsObject()) {
        fail("", "a scenario is one JSON object");
    }
    Scenario scenario;
    for (const auto& member : requireObject(document, "").GetObject()) {
        const std::string name(member.name.GetString(), member.name.GetStringLength());
        if (name == "requests") {
            readRequests(scenario, member.value, name);
        } else if (name == "leave_after") {
            scenario.leaveAfter = readDuration(member.value, name);
        } else if (name == "die_after") {
            scenario.dieAfter = readDuration(member.value, name);
        } else {
            fail(name,
                 "is not known; a scenario has \"requests\", \"leave_after\" and \"die_after\"");
        }
    }
    return scenario;
}

Scenario readScenarioFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    std::error_code none;
    // A directory can be opened, too.
    if (!stream.is_open() || stream.bad() || std::filesystem::is_directory(path, none)) {
        fail("", "the file cannot be read");
    }
    return parseScenario(text.str());
}

}  // namespace desk
