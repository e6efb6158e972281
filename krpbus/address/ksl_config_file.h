// The reader of the logger network's configuration file.
#pragma once

#include <string>

/// Reads the file once, at construction:
///   <ksl><name>Fleet 7</name><enabled>true</enabled><active>true</active></ksl>
/// The file is KSL_CONFIG_FILE of the environment, or else
/// "/var/opt/sandorvale/etc/ksl/network.xml". Nothing outside the file is ever read (no external
/// entities, no network). A file that is missing, malformed or not a network configuration is
/// "not readable"; that is never an error of the process. Any thread; the parser is set up at the
/// first use, never at load time.
class KSLConfigFile {
  public:
    KSLConfigFile();
    explicit KSLConfigFile(const std::string& path);

    /// Whether the file could be read. When not, the name is empty and both switches are off.
    bool isReadable() const { return readable_; }
    /// The name of the logger network.
    const std::string& getNetworkName() const { return networkName_; }
    /// The logger network is configured on this logger.
    bool isEnabled() const { return enabled_; }
    /// The logger takes part in it at present.
    bool isActive() const { return active_; }

    static std::string defaultPath();

  private:
    void readFile(const std::string& path);

    bool readable_ = false;
    std::string networkName_;
    bool enabled_ = false;
    bool active_ = false;
};
