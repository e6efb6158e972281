// What a logger that stands for this machine says about itself.
#pragma once

#include <filesystem>
#include <string>

namespace desk {

/// A description of this machine. No member is ever empty.
struct MachineDescription {
    std::string hostName;
    std::string timeZone;         // "Europe/Berlin"
    std::string operatingSystem;  // "Debian GNU/Linux 12 (bookworm)"
    std::string kernel;           // "Linux 6.1.0-18-amd64"
    std::string hardware;         // the product's name, or else the processor's architecture
};

/// Reads the description from the kernel and from the files below `root`.
MachineDescription describeThisMachine(const std::filesystem::path& root = "/");

/// The time zone that programs on this machine use: that of the environment's TZ, else of
/// /etc/timezone, else the one that /etc/localtime is a link to, else "UTC". `environment` may be
/// null.
std::string findTimeZone(const char* environment, const std::filesystem::path& root = "/");

}  // namespace desk
