// A directory of a test's own, and what is in files.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// What the file holds, byte for byte; empty where there is none.
inline std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// Made at construction, removed with everything in it at the end.
class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::string name =
            (std::filesystem::temp_directory_path() / "live-view-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        path_ = name;
    }
    ~TemporaryDirectory() {
        std::error_code none;
        std::filesystem::remove_all(path_, none);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

    /// Writes a file, with the directories that it stands in, and returns its path.
    std::string write(const std::filesystem::path& name, const std::string& content) const {
        const std::filesystem::path file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file.string();
    }

  private:
    std::filesystem::path path_;
};
