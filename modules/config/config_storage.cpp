#include "modules/config/config_storage.h"

#include <dirent.h>
#include <sys/types.h>

#include <cerrno>
#include <memory>

namespace klv {

/// Also on 32 bits, where an entry with a large inode number could not be read otherwise.
static_assert(sizeof(ino_t) == 8, "to be built with _FILE_OFFSET_BITS=64");

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
    errno = 0;
    while (const dirent* entry = ::readdir(directory.get())) {
        names.emplace_back(entry->d_name);
        errno = 0;
    }
    // The end of the list and an error look alike but for this.
    if (errno != 0) {
        return std::nullopt;
    }
    return names;
}

}  // namespace klv
