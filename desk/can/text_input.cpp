#include "desk/can/text_input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "base/clock.h"
#include "base/log.h"

namespace desk::can {

namespace {

constexpr std::size_t kLongestLineBytes = 8192;  // CAN XL has up to 2048 bytes in one
constexpr std::size_t kMostScannedBytes = std::size_t{256} << 20;
/// Frames that are due so soon are due now: fewer wake-ups, and nobody sees the difference.
constexpr std::uint64_t kSoon = 1000;
constexpr std::chrono::seconds kBetweenEmptyRounds{1};
constexpr std::uint64_t kComplaintsAtFirst = 3;
constexpr std::uint64_t kComplaintsEvery = 10000;

bool isRegular(const std::string& file) {
    struct stat about {};
    return stat(file.c_str(), &about) == 0 && S_ISREG(about.st_mode);
}

}  // namespace

TextInput::TextInput(std::string file, const Playback& playback,
                     std::vector<std::string> interfaces)
    : FrameInput(std::move(interfaces)),
      file_(std::move(file)),
      isFile_(file_ != "-" && isRegular(file_)),
      once_(playback.once || !isFile_),
      clock_(isFile_ ? FrameClock::Input::File : FrameClock::Input::Live, playback.speed) {
    if (!open()) {
        throw std::invalid_argument("\"" + file_ + "\" cannot be read");
    }
    if (isFile_) {
        scan();
    }
}

TextInput::~TextInput() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    wake_.notify_all();
    stopEvent_.raise();
    queue_.close();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void TextInput::start() {
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { run(); });
    }
}

bool TextInput::open() {
    if (file_ == "-") {
        fd_ = STDIN_FILENO;
        return fcntl(fd_, F_GETFD) >= 0;
    }
    opened_ = base::FileDescriptor(
        ::open(file_.c_str(), O_RDONLY | O_CLOEXEC | (isFile_ ? 0 : O_NONBLOCK)));
    fd_ = opened_.get();
    return fd_ >= 0;
}

/// The interfaces of a whole file, in the order of their first frames.
void TextInput::scan() {
    std::array<char, 65536> buffer{};
    std::string line;
    std::size_t scanned = 0;
    bool any = false;
    const auto look = [&] {
        const CandumpLine read = readCandumpLine(line);
        if (read.kind == CandumpLine::Kind::Frame) {
            any = interfaces_.placeOf(read.interface).has_value() || any;
        }
        line.clear();
    };
    for (ssize_t size = 1; size > 0 && scanned < kMostScannedBytes; scanned += buffer.size()) {
        size = read(fd_, buffer.data(), buffer.size());
        for (ssize_t i = 0; i < size; ++i) {
            const char c = buffer[static_cast<std::size_t>(i)];
            if (c == '\n') {
                look();
            } else if (line.size() < kLongestLineBytes) {
                line += c;
            }
        }
    }
    look();
    if (!any) {
        throw std::invalid_argument("\"" + file_ +
                                    "\" holds no frame like \"(1700000000.123456) can0 123#0102\"");
    }
    lseek(fd_, 0, SEEK_SET);
}

void TextInput::run() {
    while (readAll() && !once_) {
        const bool wasEmpty = roundFrames_ == 0;
        if (wasEmpty) {
            LogUtil::log(LogLevel::Error, "run", "\"" + file_ + "\" has no frames any more");
            std::unique_lock lock(mutex_);
            wake_.wait_for(lock, kBetweenEmptyRounds, [this] { return isStopping_; });
        }
        roundFrames_ = 0;
        clock_.beginAnew();
        open();
    }
    counters_.hasEnded = true;
    const std::lock_guard lock(mutex_);
    if (!isStopping_) {
        LogUtil::log(LogLevel::Info, "run",
                     (file_ == "-" ? std::string("standard input") : "\"" + file_ + "\"") +
                         " has ended after " + std::to_string(counters_.frames.load()) + " frames");
    }
}

bool TextInput::readAll() {
    std::array<char, 65536> buffer{};
    while (waitForText()) {
        const ssize_t size = read(fd_, buffer.data(), buffer.size());
        if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (size <= 0) {
            // What was written without a line end may be cut anywhere: a frame with fewer bytes.
            const bool isCut = !rest_.empty();
            if (isCut) {
                complain(rest_);
            }
            rest_.clear();
            isOverlong_ = false;
            return true;
        }
        if (!takeText({buffer.data(), static_cast<std::size_t>(size)})) {
            return false;
        }
    }
    return false;
}

bool TextInput::waitForText() {
    std::array<pollfd, 2> waiting{{{fd_, POLLIN, 0}, {stopEvent_.descriptor(), POLLIN, 0}}};
    if (!isFile_) {
        poll(waiting.data(), waiting.size(), -1);
    }
    const std::lock_guard lock(mutex_);
    return !isStopping_;
}

bool TextInput::takeText(std::string_view text) {
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        rest_.append(text.substr(0, end));
        text.remove_prefix(end + 1);
        const bool goesOn = std::exchange(isOverlong_, false) || takeLine(rest_);
        rest_.clear();
        if (!goesOn) {
            return false;
        }
    }
    rest_.append(text);
    if (rest_.size() > kLongestLineBytes) {
        if (!isOverlong_) {
            complain(rest_);
        }
        isOverlong_ = true;
        rest_.clear();
    }
    return true;
}

bool TextInput::takeLine(std::string& line) {
    const CandumpLine read = readCandumpLine(line);
    switch (read.kind) {
        case CandumpLine::Kind::Frame:
            return deliver(read);
        case CandumpLine::Kind::Long:
            ++counters_.longFrames;
            break;
        case CandumpLine::Kind::Wrong:
            complain(line);
            break;
        case CandumpLine::Kind::Skipped:
            break;
    }
    return true;
}

bool TextInput::deliver(const CandumpLine& line) {
    const auto place = interfaces_.placeOf(line.interface);
    if (!place) {
        if (!std::exchange(hasWarnedOfInterfaces_, true)) {
            LogUtil::log(LogLevel::Warning, "deliver",
                         "there are more than " + std::to_string(InterfaceNames::kMost) +
                             " interfaces; " + std::string(line.interface) + " is left out");
        }
        return true;
    }
    Frame frame = line.frame;
    frame.interface = *place;
    const FrameClock::Moment moment =
        clock_.next(line.hasTime ? std::optional(frame.time) : std::nullopt, getTimeOfDay());
    frame.time = moment.time;
    if (moment.isPaced && !waitUntil(moment.time)) {
        return false;
    }
    ++roundFrames_;
    ++counters_.frames;
    counters_.errorFrames += frame.kind == Frame::Kind::Error ? 1U : 0U;
    return queue_.put(frame);
}

bool TextInput::waitUntil(std::uint64_t time) {
    const std::uint64_t now = getTimeOfDay();
    if (time <= now + kSoon) {
        return true;
    }
    std::unique_lock lock(mutex_);
    return !wake_.wait_for(lock, std::chrono::microseconds(time - now),
                           [this] { return isStopping_; });
}

/// Some lines of a damaged text tell enough.
void TextInput::complain(const std::string& line) {
    static constexpr std::size_t kShown = 80;
    const std::uint64_t count = ++counters_.wrongLines;
    if (count <= kComplaintsAtFirst || count % kComplaintsEvery == 0) {
        LogUtil::log(LogLevel::Warning, "complain",
                     "no frame (" + std::to_string(count) +
                         " such lines so far): " + line.substr(0, kShown));
    }
}

}  // namespace desk::can
