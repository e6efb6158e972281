#include "modules/config/config_responses.h"

#include <cerrno>
#include <cstring>

#include "base/log.h"
#include "json/simple_response.h"
#include "modules/config/config_storage.h"

WaResponseSaveConfig::WaResponseSaveConfig(const std::string& name, kr_state state,
                                           kr_error_code code) {
    document.AddMember("response", "save_config", document.GetAllocator());
    addText("name", name);
    addStatus(state, code, "");
    sendMessage();
}

WaResponseLoadConfig::WaResponseLoadConfig(const std::string& name, const char* text,
                                           kr_state state, kr_error_code code) {
    document.AddMember("response", "load_config", document.GetAllocator());
    addText("name", name);
    addText("config", text == nullptr ? "" : text);
    addStatus(state, code, "");
    sendMessage();
}

WaResponseDeleteConfig::WaResponseDeleteConfig(kr_state state, kr_error_code code) {
    document.AddMember("response", "delete_config", document.GetAllocator());
    addStatus(state, code, "");
    sendMessage();
}

WaResponseGetConfigurations::WaResponseGetConfigurations() {
    const auto entries = klv::listConfigurations();
    if (!entries) {
        LogUtil::log(LogLevel::Error, "WaResponseGetConfigurations",
                     "Error opening " + klv::configurationDirectory + ": " + std::strerror(errno));
        createAndSendJSON_simple("get_configs", KR_STATE_ERROR, KR_ERROR_ILLEGAL_CONFIG, "");
        return;
    }
    LogUtil::log(LogLevel::Debug, "WaResponseGetConfigurations", "files:");
    auto& allocator = document.GetAllocator();
    Value configs(rapidjson::kArrayType);
    for (const std::string& name : *entries) {
        LogUtil::log(LogLevel::Debug, "WaResponseGetConfigurations", name);
        if (name == "." || name == "..") {
            continue;
        }
        Value config(rapidjson::kObjectType);
        config.AddMember("name", Value(name, allocator), allocator);
        configs.PushBack(config, allocator);
    }
    document.AddMember("response", "get_configs", allocator);
    document.AddMember("configs", configs, allocator);
    addStatus(KR_STATE_OK, KR_ERROR_UNSPECIFIED, "");
    sendMessage();
}
