#include "modules/config/config_storage.h"

#include <dirent.h>

#include <memory>

std::string& configurationDirectory = *new std::string("/var/opt/sandorvale/etc/webapp/config/");

std::string configurationPath(std::string_view name) {
    return configurationDirectory + std::string(name);
}

std::optional<std::vector<std::string>> listConfigurations() {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(configurationDirectory.c_str()),
                                                        &::closedir);
    if (!directory) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(directory.get())) {
        names.emplace_back(entry->d_name);
    }
    return names;
}
