// Where web-application configurations are kept: one file per configuration, whose name is the
// configuration's name and whose content is its text, nothing more.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace klv {

/// The directory, with the trailing slash. It is not created here: the installation makes it for
/// the web server's user. Never destroyed. Connection thread.
extern std::string& configurationDirectory;

/// The path of a configuration. The name is used as given, also when it holds "/" or "..": what
/// protects the machine is the confinement of the web server's process.
std::string configurationPath(std::string_view name);

/// The names of all entries of the directory, "." and ".." among them, in the order in which the
/// system returns them. Nothing when it cannot be opened or read to its end; errno then tells why.
std::optional<std::vector<std::string>> listConfigurations();

}  // namespace klv
