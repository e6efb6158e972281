// Files that outlive the logger.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace desk {

/// An open file that is closed in any case. Every function throws std::runtime_error that names the
/// file and says what went wrong.
class KeptFile {
  public:
    /// `what` is what the file is to a person: "event file". `flags` are those of open().
    KeptFile(std::string what, const std::filesystem::path& file, int flags);
    ~KeptFile();
    KeptFile(const KeptFile&) = delete;
    KeptFile& operator=(const KeptFile&) = delete;

    void write(std::string_view bytes) const;
    /// Writes what another open file holds from its position on.
    void writeAllOf(int otherFile) const;
    /// Returns when what was written would survive a loss of power.
    void sync() const;
    void cut(std::size_t size) const;

  private:
    void check(bool good, const char* done) const;

    const std::string name_;  // for error texts
    const int fd_;
};

/// Gives the file a new content, beside the old one at first: one of the two is always whole.
void replaceFile(const std::string& what, const std::filesystem::path& file,
                 std::string_view content);

}  // namespace desk
