// The audio files of a logger.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "krpbus/messages/krp_get_audio_list.h"
#include "krpbus/messages/krp_message.h"

namespace desk {

/// Why an audio file cannot be had; its code is what the requester is answered.
class AudioError : public std::runtime_error {
  public:
    AudioError(errorCode_t errorCode, const std::string& why)
        : std::runtime_error(why), code(errorCode) {}

    const errorCode_t code;
};

/// Audio files with the time span and the marker that each belongs to, in a directory: "files"
/// holds them, "list" has one a line: its start, its end, its name and its marker, separated by
/// blanks, the texts as words of desk/escaped_text.h. What a function has done is in the directory
/// when it returns.
class AudioStore {
  public:
    using File = KRPResponseGetAudioList::audioFile_t;

    /// Bytes of all names and markers together, which go into one answer.
    static constexpr std::size_t kMostText = std::size_t{8} * 1024 * 1024;

    /// Uses the directory, which is made where there is none, and reads what is in it. An empty one
    /// stands for a temporary directory that is made with the first file and goes with this object.
    /// Throws std::runtime_error that says what is wrong.
    /// Takes over what belongs to `uploader` only.
    explicit AudioStore(std::filesystem::path directory, uid_t uploader = geteuid());
    ~AudioStore();
    AudioStore(const AudioStore&) = delete;
    AudioStore& operator=(const AudioStore&) = delete;

    /// In the order in which they came.
    const std::vector<File>& files() const { return files_; }
    std::filesystem::path pathOf(const std::string& name) const {
        return directory_ / "files" / name;
    }

    /// Moves the uploaded file here, under its own name and in the place of one that has it
    /// already. Links are not followed, and only a file of the uploader's that has no other name is
    /// taken: in a directory that is open to everybody anybody's file can be given a name.
    /// Throws AudioError, and std::runtime_error when it cannot be
    /// kept or the list would have too much text; the upload stays where it is then.
    void takeOver(const std::filesystem::path& upload, std::uint32_t startTime,
                  std::uint32_t endTime, const std::string& markerId);
    /// Gives the file of that name another time span and marker; false when there is none. Throws
    /// std::runtime_error when that cannot be kept or the list would have too much text.
    bool assign(const std::string& name, std::uint32_t startTime, std::uint32_t endTime,
                const std::string& markerId);

  private:
    void makeDirectory();
    void load();
    void refuseTooMuchText(const std::vector<File>& files) const;
    void save(std::vector<File> files);
    void copy(const std::filesystem::path& upload, const std::filesystem::path& target) const;

    const bool isTemporary_;
    const uid_t uploader_;
    std::filesystem::path directory_;  // empty until the temporary one is made
    std::vector<File> files_;
};

}  // namespace desk
