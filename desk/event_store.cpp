#include "desk/event_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace desk {

namespace {

// An empty text is a single '%', so that every line has four fields.
std::string escape(std::string_view text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7F && c != '%') {
            escaped += c;
        } else {
            escaped += {'%', kDigits[byte >> 4U], kDigits[byte & 0x0FU]};
        }
    }
    return escaped.empty() ? "%" : escaped;
}

int digitValue(char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

bool unescape(const std::string& escaped, std::string& text) {
    text.clear();
    for (std::size_t i = 0; escaped != "%" && i < escaped.size(); ++i) {
        if (escaped[i] != '%') {
            text += escaped[i];
            continue;
        }
        const int high = i + 2 < escaped.size() ? digitValue(escaped[i + 1]) : -1;
        const int low = i + 2 < escaped.size() ? digitValue(escaped[i + 2]) : -1;
        if (high < 0 || low < 0) {
            return false;
        }
        text += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return true;
}

std::string toLine(const EventStore::Event& event) {
    return std::to_string(event.number) + " " + std::to_string(event.timestamp) + " " +
           escape(event.time_zone) + " " + escape(event.marker_id) + "\n";
}

bool fromLine(const std::string& line, EventStore::Event& event) {
    std::istringstream fields(line);
    std::string timeZone;
    std::string markerId;
    std::string rest;
    return fields >> event.number >> event.timestamp >> timeZone >> markerId && !(fields >> rest) &&
           event.number > 0 && unescape(timeZone, event.time_zone) &&
           unescape(markerId, event.marker_id);
}

// A file that is closed in any case.
class OpenFile {
  public:
    OpenFile(const std::filesystem::path& file, int flags)
        : name_(file.string()), fd_(open(file.c_str(), flags | O_CLOEXEC, 0644)) {
        check(fd_ >= 0, "opened");
    }
    ~OpenFile() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    void write(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t written = ::write(fd_, bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR) {
                continue;
            }
            check(written >= 0, "written");
            bytes.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    void sync() const { check(fdatasync(fd_) == 0, "written"); }
    void cut(std::size_t size) const {
        check(ftruncate(fd_, static_cast<off_t>(size)) == 0, "cut");
    }

  private:
    void check(bool good, const char* what) const {
        if (!good) {
            throw std::runtime_error("the event file \"" + name_ + "\" cannot be " + what + ": " +
                                     std::strerror(errno));
        }
    }

    const std::string name_;
    const int fd_;
};

}  // namespace

EventStore::EventStore(std::filesystem::path file, std::size_t cap)
    : file_(std::move(file)), cap_(cap) {
    if (!file_.empty()) {
        load();
    }
}

void EventStore::load() {
    const OpenFile file(file_, O_RDWR | O_CREAT);
    std::ifstream stream(file_, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    std::size_t start = 0;
    for (std::size_t end = 0; (end = content.find('\n', start)) != std::string::npos;
         start = end + 1) {
        Event event;
        ++lines_;
        if (!fromLine(content.substr(start, end - start), event)) {
            throw std::runtime_error("line " + std::to_string(lines_) + " of the event file \"" +
                                     file_.string() + "\" is no event");
        }
        take(std::move(event));
    }
    if (start != content.size()) {
        file.cut(start);
    }
}

bool EventStore::hasEventAt(std::uint64_t timestamp) const {
    return std::any_of(events_.rbegin(), events_.rend(),
                       [timestamp](const Event& event) { return event.timestamp == timestamp; });
}

const EventStore::Event& EventStore::add(std::uint64_t timestamp, const std::string& timeZone,
                                         const std::string& markerId) {
    Event event{timestamp, timeZone, lastNumber_ + 1, markerId};
    if (!file_.empty()) {
        append(event);
    }
    take(std::move(event));
    if (!file_.empty() && lines_ > 2 * cap_ + 100) {
        rewrite();
    }
    return events_.back();
}

void EventStore::clear() {
    events_.clear();
    lastNumber_ = 0;
    if (!file_.empty()) {
        rewrite();
    }
}

void EventStore::take(Event event) {
    lastNumber_ = event.number;
    events_.push_back(std::move(event));
    if (events_.size() > cap_) {
        events_.pop_front();
    }
}

void EventStore::append(const Event& event) {
    const OpenFile file(file_, O_WRONLY | O_APPEND | O_CREAT);
    file.write(toLine(event));
    file.sync();
    ++lines_;
}

// Beside the old file at first, so that one of the two is always whole.
void EventStore::rewrite() {
    const std::filesystem::path fresh = file_.string() + ".new";
    {
        const OpenFile file(fresh, O_WRONLY | O_CREAT | O_TRUNC);
        std::string content;
        for (const Event& event : events_) {
            content += toLine(event);
        }
        file.write(content);
        file.sync();
    }
    std::filesystem::rename(fresh, file_);
    lines_ = events_.size();
}

}  // namespace desk
