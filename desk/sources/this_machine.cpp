#include "desk/sources/this_machine.h"

#include <sys/utsname.h>

#include <cstdlib>
#include <fstream>
#include <string_view>
#include <system_error>

namespace desk {

namespace {

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

/// Empty when the file cannot be read.
std::string firstLine(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return trimmed(line);
}

/// "/usr/share/zoneinfo/Europe/Berlin" -> "Europe/Berlin"; another text stays as it is.
std::string zoneName(const std::string& path) {
    static constexpr std::string_view kFolder = "zoneinfo/";
    const std::size_t at = path.rfind(kFolder);
    return at == std::string::npos ? path : path.substr(at + kFolder.size());
}

/// PRETTY_NAME of /etc/os-release; empty where there is none.
std::string operatingSystemName(const std::filesystem::path& root) {
    static constexpr std::string_view kKey = "PRETTY_NAME=";
    std::ifstream stream(root / "etc/os-release");
    for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with(kKey)) {
            continue;
        }
        std::string value = trimmed(line.substr(kKey.size()));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
            value = value.substr(1, value.size() - 2);
        }
        return value;
    }
    return {};
}

std::string orElse(const std::string& text, std::string_view otherwise) {
    return text.empty() ? std::string(otherwise) : text;
}

}  // namespace

std::string findTimeZone(const char* environment, const std::filesystem::path& root) {
    std::string zone = environment == nullptr ? "" : environment;
    if (zone.starts_with(':')) {
        zone.erase(0, 1);
    }
    if (zone.empty()) {
        zone = firstLine(root / "etc/timezone");
    }
    if (zone.empty()) {
        std::error_code none;
        zone = std::filesystem::read_symlink(root / "etc/localtime", none).string();
    }
    return orElse(zoneName(zone), "UTC");
}

MachineDescription describeThisMachine(const std::filesystem::path& root) {
    utsname kernel{};
    uname(&kernel);
    MachineDescription machine;
    machine.hostName = orElse(kernel.nodename, "localhost");
    machine.timeZone = findTimeZone(std::getenv("TZ"), root);
    machine.kernel = orElse(trimmed(std::string(kernel.sysname) + " " + kernel.release), "Linux");
    machine.operatingSystem = orElse(operatingSystemName(root), machine.kernel);
    machine.hardware =
        orElse(firstLine(root / "sys/class/dmi/id/product_name"), orElse(kernel.machine, "PC"));
    return machine;
}

}  // namespace desk
