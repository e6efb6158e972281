#include "modules/config/config_commands.h"

#include <cstdio>
#include <string>

#include "base/log.h"
#include "base/whole_file.h"
#include "json/request_command.h"
#include "json/request_parsers.h"
#include "json/simple_response.h"
#include "modules/config/config_responses.h"
#include "modules/config/config_storage.h"

namespace {

/// How often a text is in memory before it has been sent: as it was read, in the log's line, in the
/// answer, in the answer's text while that grows and when it is done. Some of it is escaped there.
constexpr unsigned kCopies = 8;

void refuse(const char* function, const Document& doc, const std::string& reason) {
    LogUtil::log(LogLevel::Error, function, reason);
    createAndSendJSON_simpleDoc(&doc, KR_STATE_ERROR, KR_ERROR_ILLEGAL_CONFIG, reason);
}

/// Reads "name". False when it is missing, no string or empty; that has been answered then.
bool readName(const char* function, const Document& doc, std::string& name) {
    if (parseString("name", name, &doc, false) != 0) {
        return false;
    }
    if (name.empty()) {
        refuse(function, doc, "config name must not be empty");
        return false;
    }
    return true;
}

}  // namespace

void save_configuration(const Document& doc) {
    LogUtil::log(LogLevel::Debug, "save_configuration", "save configuration.");
    std::string name;
    std::string config;
    if (parseString("name", name, &doc, false) != 0 ||
        parseString("config", config, &doc, false) != 0) {
        return;
    }
    LogUtil::log(LogLevel::Debug, "save_configuration", "name: " + name + "\tconfig: " + config);
    if (config.empty()) {
        refuse("save_configuration", doc, "config must not be empty");
        return;
    }
    if (name.empty()) {
        refuse("save_configuration", doc, "config name must not be empty");
        return;
    }
    const std::string path = klv::configurationPath(name);
    if (!base::writeWholeFile(path, config, base::ExistingFile::Any)) {
        // Fixed by the protocol: "unspecified" here and "illegal_config" for everything else. The
        // web application tells the two apart.
        LogUtil::log(LogLevel::Error, "save_configuration", "Unable to open file " + path);
        sendResponse<WaResponseSaveConfig>(name, KR_STATE_ERROR, KR_ERROR_UNSPECIFIED);
        return;
    }
    sendResponse<WaResponseSaveConfig>(name, KR_STATE_OK, KR_ERROR_UNSPECIFIED);
}

void get_configurations() {
    sendResponse<WaResponseGetConfigurations>();
}

void load_configuration(const Document& doc) {
    std::string name;
    if (!readName("load_configuration", doc, name)) {
        return;
    }
    const auto text = base::readWholeFile(klv::configurationPath(name), kCopies);
    if (!text) {
        LogUtil::log(LogLevel::Debug, "load_configuration", "Unable to open file");
        sendResponse<WaResponseLoadConfig>(name, nullptr, KR_STATE_ERROR, KR_ERROR_ILLEGAL_CONFIG);
        return;
    }
    LogUtil::log(LogLevel::Debug, "load_configuration", "length: " + std::to_string(text->size()));
    // As it is answered: up to a first zero character.
    LogUtil::log(LogLevel::Debug, "load_configuration", std::string("config: ") + text->c_str());
    sendResponse<WaResponseLoadConfig>(name, text->c_str(), KR_STATE_OK, KR_ERROR_UNSPECIFIED);
}

void delete_configuration(const Document& doc) {
    std::string name;
    if (parseString("name", name, &doc, false) != 0) {
        return;
    }
    LogUtil::log(LogLevel::Debug, "delete_configuration", "delete_configuration: name: " + name);
    if (name.empty()) {
        refuse("delete_configuration", doc, "config name must not be empty");
        return;
    }
    if (std::remove(klv::configurationPath(name).c_str()) == 0) {
        LogUtil::log(LogLevel::Debug, "delete_configuration", "File successfully deleted");
        sendResponse<WaResponseDeleteConfig>(KR_STATE_OK, KR_ERROR_UNSPECIFIED);
    } else {
        LogUtil::log(LogLevel::Debug, "delete_configuration", "Unable to delete file");
        sendResponse<WaResponseDeleteConfig>(KR_STATE_ERROR, KR_ERROR_ILLEGAL_CONFIG);
    }
}
