#include "json/kr_state.h"

#include <array>

namespace {

/// The web application matches these texts, so they stay as they are: the one with blanks in it,
/// and the placeholder that two codes share.
constexpr std::array kErrorTexts = {
    "todo",           "unspecified",  "internal_error",    "invalid_command",
    "illegal_config", "cannot_start", "cannot_stop",       "wait for logger info",
    "krpbus_error",   "todo",         "other_data_upload", "no_data_upload",
    "not_running",    "running",      "illegal_key",       "illegal_interval",
    "no_value",
};

const char* errorText(kr_error_code code) {
    return code < kErrorTexts.size() ? kErrorTexts[code] : "todo";
}

}  // namespace

void addErrorCodeToDom(Document* doc, kr_error_code code) {
    auto& allocator = doc->GetAllocator();
    doc->AddMember("status", "ERROR", allocator);
    doc->AddMember("error_code", rapidjson::StringRef(errorText(code)), allocator);
}
