#include "desk/services/audio_store.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "base/file_descriptor.h"
#include "base/log.h"
#include "desk/services/escaped_text.h"
#include "desk/services/kept_file.h"

namespace desk {

namespace {

namespace fs = std::filesystem;

std::string toLine(const AudioStore::File& file) {
    return std::to_string(file.start_time) + " " + std::to_string(file.end_time) + " " +
           escapeText(file.name) + " " + escapeText(file.marker_id) + "\n";
}

bool fromLine(const std::string& line, AudioStore::File& file) {
    std::istringstream fields(line);
    std::string name;
    std::string markerId;
    std::string rest;
    return fields >> file.start_time >> file.end_time >> name >> markerId && !(fields >> rest) &&
           unescapeText(name, file.name) && unescapeText(markerId, file.marker_id);
}

fs::path makeTemporary() {
    std::string name = (fs::temp_directory_path() / "desklogger-audio-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no directory for audio files can be made: " + name + ": " +
                                 std::strerror(errno));
    }
    return name;
}

std::size_t textOf(const std::vector<AudioStore::File>& files) {
    std::size_t text = 0;
    for (const AudioStore::File& file : files) {
        text += file.name.size() + file.marker_id.size();
    }
    return text;
}

template <class Files>
auto findByName(Files& files, const std::string& name) {
    return std::find_if(files.begin(), files.end(),
                        [&name](const AudioStore::File& file) { return file.name == name; });
}

}  // namespace

AudioStore::AudioStore(fs::path directory, uid_t uploader)
    : isTemporary_(directory.empty()), uploader_(uploader), directory_(std::move(directory)) {
    if (!isTemporary_) {
        makeDirectory();
        load();
    }
}

AudioStore::~AudioStore() {
    if (isTemporary_ && !directory_.empty()) {
        std::error_code none;
        fs::remove_all(directory_, none);
    }
}

void AudioStore::makeDirectory() {
    if (directory_.empty()) {
        directory_ = makeTemporary();
    }
    std::error_code error;
    fs::create_directories(directory_ / "files", error);
    if (error) {
        throw std::runtime_error("the audio directory \"" + directory_.string() +
                                 "\" cannot be used: " + error.message());
    }
}

void AudioStore::load() {
    std::ifstream stream(directory_ / "list", std::ios::binary);
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        File file;
        if (!fromLine(line, file)) {
            throw std::runtime_error("line " + std::to_string(number) + " of the audio list \"" +
                                     (directory_ / "list").string() + "\" is no audio file");
        }
        if (fs::is_regular_file(pathOf(file.name))) {
            files_.push_back(std::move(file));
        } else {
            LogUtil::log(LogLevel::Warning, "load",
                         "the audio file \"" + file.name + "\" is no longer there");
        }
    }
}

void AudioStore::takeOver(const fs::path& upload, std::uint32_t startTime, std::uint32_t endTime,
                          const std::string& markerId) {
    makeDirectory();
    const std::string name = upload.filename().string();
    std::vector<File> files = files_;
    const File file{startTime, endTime, name, markerId};
    if (const auto known = findByName(files, name); known != files.end()) {
        *known = file;
    } else {
        files.push_back(file);
    }
    refuseTooMuchText(files);
    const fs::path fresh = directory_ / "upload.new";
    copy(upload, fresh);
    fs::rename(fresh, pathOf(name));
    save(std::move(files));
    std::error_code error;
    if (!fs::remove(upload, error)) {
        LogUtil::log(LogLevel::Warning, "takeOver",
                     upload.string() + " stays behind: " + error.message());
    }
}

bool AudioStore::assign(const std::string& name, std::uint32_t startTime, std::uint32_t endTime,
                        const std::string& markerId) {
    std::vector<File> files = files_;
    const auto file = findByName(files, name);
    if (file == files.end()) {
        return false;
    }
    *file = {startTime, endTime, name, markerId};
    refuseTooMuchText(files);
    save(std::move(files));
    return true;
}

/// A list that has too much already, from an earlier time, may still become shorter.
void AudioStore::refuseTooMuchText(const std::vector<File>& files) const {
    const std::size_t text = textOf(files);
    if (text > kMostText && text > textOf(files_)) {
        throw std::runtime_error("the audio files' names and markers would be more than " +
                                 std::to_string(kMostText) + " bytes together");
    }
}

/// The upload's directory may be open to other programs: what lies there could be a pipe.
void AudioStore::copy(const fs::path& upload, const fs::path& target) const {
    const base::FileDescriptor source(
        open(upload.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (source.get() < 0) {
        throw AudioError(errno == ENOENT ? errorCode_t::NotFound : errorCode_t::NotAllowed,
                         upload.string() + ": " + std::strerror(errno));
    }
    struct stat status {};
    if (fstat(source.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        throw AudioError(errorCode_t::NotAllowed, upload.string() + " is no regular file");
    }
    if (status.st_uid != uploader_ || status.st_nlink != 1) {
        throw AudioError(errorCode_t::NotAllowed,
                         upload.string() + " is not the uploader's file alone");
    }
    const KeptFile file("audio file", target, O_WRONLY | O_CREAT | O_TRUNC);
    file.writeAllOf(source.get());
    file.sync();
}

void AudioStore::save(std::vector<File> files) {
    std::string content;
    for (const File& file : files) {
        content += toLine(file);
    }
    replaceFile("audio list", directory_ / "list", content);
    files_ = std::move(files);
}

}  // namespace desk
