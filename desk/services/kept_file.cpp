#include "desk/services/kept_file.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace desk {

KeptFile::KeptFile(std::string what, const std::filesystem::path& file, int flags)
    : name_("the " + std::move(what) + " \"" + file.string() + "\""),
      fd_(open(file.c_str(), flags | O_CLOEXEC, 0644)) {
    check(fd_ >= 0, "opened");
}

KeptFile::~KeptFile() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

void KeptFile::write(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd_, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        check(written >= 0, "written");
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void KeptFile::writeAllOf(int otherFile) const {
    static constexpr std::size_t kAtOnce = std::size_t{1} << 20U;
    ssize_t written = 1;
    while (written != 0) {
        written = sendfile(fd_, otherFile, nullptr, kAtOnce);
        check(written >= 0 || errno == EINTR, "written");
    }
}

void KeptFile::sync() const {
    check(fdatasync(fd_) == 0, "written");
}

void KeptFile::cut(std::size_t size) const {
    check(ftruncate(fd_, static_cast<off_t>(size)) == 0, "cut");
}

void KeptFile::check(bool good, const char* done) const {
    if (!good) {
        throw std::runtime_error(name_ + " cannot be " + done + ": " + std::strerror(errno));
    }
}

void replaceFile(const std::string& what, const std::filesystem::path& file,
                 std::string_view content) {
    const std::filesystem::path fresh = file.string() + ".new";
    {
        const KeptFile opened(what, fresh, O_WRONLY | O_CREAT | O_TRUNC);
        opened.write(content);
        opened.sync();
    }
    std::filesystem::rename(fresh, file);
}

}  // namespace desk
