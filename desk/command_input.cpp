#include "desk/command_input.h"

#include <unistd.h>

#include <array>
#include <cerrno>

namespace desk {

namespace {

constexpr std::size_t kLongestLineBytes = 1000;

}  // namespace

std::vector<std::string> CommandInput::readLines() {
    std::array<char, 512> buffer{};
    const ssize_t size = read(fd_, buffer.data(), buffer.size());
    if (size <= 0) {
        if (size == 0 || (errno != EINTR && errno != EAGAIN)) {
            fd_ = -1;
        }
        return {};
    }
    rest_.append(buffer.data(), static_cast<std::size_t>(size));
    std::vector<std::string> lines;
    for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n')) {
        lines.push_back(rest_.substr(0, end));
        rest_.erase(0, end + 1);
    }
    if (rest_.size() > kLongestLineBytes) {
        fd_ = -1;
    }
    return lines;
}

}  // namespace desk
