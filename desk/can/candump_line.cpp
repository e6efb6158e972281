#include "desk/can/candump_line.h"

#include <algorithm>
#include <cstddef>
#include <ctime>

namespace desk::can {

namespace {

constexpr std::uint32_t kErrorFlag = 0x20000000U;
constexpr std::uint32_t kRemoteFlag = 0x40000000U;
constexpr std::uint32_t kExtendedMask = 0x1FFFFFFFU;
constexpr std::uint32_t kStandardMask = 0x7FFU;
constexpr std::size_t kLongestInterface = 15;

int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

void skipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
}

std::string_view takeWord(std::string_view& text) {
    skipBlanks(text);
    const std::string_view word = text.substr(0, text.find_first_of(" \t"));
    text.remove_prefix(word.size());
    return word;
}

std::optional<std::uint64_t> wholeNumber(std::string_view text) {
    std::uint64_t number = 0;
    for (const char c : text) {
        if (!isDigit(c) || number > 99'999'999'999U) {
            return std::nullopt;
        }
        number = number * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return text.empty() ? std::nullopt : std::optional(number);
}

/// The digits behind the point as microseconds, however many there are.
std::optional<std::uint64_t> microseconds(std::string_view digits) {
    const auto number = wholeNumber(digits.substr(0, 6));
    if (!number || !std::all_of(digits.begin(), digits.end(), isDigit)) {
        return std::nullopt;
    }
    std::uint64_t value = *number;
    for (std::size_t i = digits.size(); i < 6; ++i) {
        value *= 10;
    }
    return value;
}

/// "2026-03-21 12:00:00" of this machine's time zone.
std::optional<std::uint64_t> calendarSeconds(std::string_view text) {
    if (text.size() != 19 || text[4] != '-' || text[10] != ' ') {
        return std::nullopt;
    }
    const auto part = [&](std::size_t at, std::size_t size) {
        const auto number = wholeNumber(text.substr(at, size));
        return number ? static_cast<int>(*number) : -1;
    };
    std::tm time{};
    time.tm_year = part(0, 4) - 1900;
    time.tm_mon = part(5, 2) - 1;
    time.tm_mday = part(8, 2);
    time.tm_hour = part(11, 2);
    time.tm_min = part(14, 2);
    time.tm_sec = part(17, 2);
    time.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&time);
    return seconds < 0 ? std::nullopt : std::optional(static_cast<std::uint64_t>(seconds));
}

/// What is between the parentheses.
std::optional<std::uint64_t> timeOf(std::string_view text) {
    const std::size_t point = text.find('.');
    const std::string_view whole = text.substr(0, point);
    const auto seconds = whole.size() == 19 ? calendarSeconds(whole) : wholeNumber(whole);
    const auto rest = point == std::string_view::npos ? std::optional(std::uint64_t{0})
                                                      : microseconds(text.substr(point + 1));
    if (!seconds || !rest) {
        return std::nullopt;
    }
    return *seconds * 1'000'000U + *rest;
}

/// Three digits are a standard id, eight an extended one or an error.
bool readId(std::string_view text, Frame& frame) {
    if (text.size() != 3 && text.size() != 8) {
        return false;
    }
    std::uint32_t id = 0;
    for (const char c : text) {
        if (hexDigit(c) < 0) {
            return false;
        }
        id = id << 4U | static_cast<std::uint32_t>(hexDigit(c));
    }
    if (text.size() == 3) {
        frame.id = id;
        return id <= kStandardMask;
    }
    frame.isExtended = true;
    frame.id = id & kExtendedMask;
    if ((id & kErrorFlag) != 0) {
        frame.kind = Frame::Kind::Error;
        frame.isExtended = false;
    } else if ((id & kRemoteFlag) != 0) {
        frame.kind = Frame::Kind::Remote;
    }
    return true;
}

/// Pairs of digits, with a point in front of any of them; what is behind the last byte is left.
bool readPairs(std::string_view& text, std::size_t most, Frame& frame) {
    while (!text.empty() && frame.size < most) {
        if (text.front() == '.') {
            text.remove_prefix(1);
        }
        if (text.empty() || text.front() == '_') {
            return frame.size > 0 || text.empty();
        }
        if (text.size() < 2 || hexDigit(text[0]) < 0 || hexDigit(text[1]) < 0) {
            return false;
        }
        frame.data[frame.size++] =
            static_cast<std::uint8_t>(hexDigit(text[0]) << 4 | hexDigit(text[1]));
        text.remove_prefix(2);
    }
    return true;
}

bool readFd(std::string_view text, Frame& frame) {
    const int flags = text.empty() ? -1 : hexDigit(text.front());
    if (flags < 0 || frame.kind != Frame::Kind::Data) {
        return false;
    }
    frame.isFd = true;
    frame.hasFastData = (flags & 1) != 0;
    frame.isErrorPassive = (flags & 2) != 0;
    text.remove_prefix(1);
    return readPairs(text, Frame::kMostBytes, frame);
}

void readRemoteSize(std::string_view text, Frame& frame) {
    frame.kind = Frame::Kind::Remote;
    if (!text.empty() && text.front() >= '0' && text.front() <= '8') {
        frame.size = static_cast<std::uint8_t>(text.front() - '0');
    }
}

/// "123#0102", "123##1...", "123#R8"
CandumpLine::Kind readCompact(std::string_view text, Frame& frame) {
    const std::size_t mark = text.find('#');
    if (mark == 5 && text.find('#', mark + 1) != std::string_view::npos) {
        return CandumpLine::Kind::Long;
    }
    if (!readId(text.substr(0, mark), frame)) {
        return CandumpLine::Kind::Wrong;
    }
    text.remove_prefix(mark + 1);
    bool isRight = true;
    if (text.starts_with('#')) {
        isRight = readFd(text.substr(1), frame);
    } else if (text.starts_with('R') || text.starts_with('r')) {
        readRemoteSize(text.substr(1), frame);
    } else {
        isRight = readPairs(text, 8, frame);
    }
    return isRight ? CandumpLine::Kind::Frame : CandumpLine::Kind::Wrong;
}

/// One byte as it is printed: two digits, or eight bits.
std::optional<std::uint8_t> readByte(std::string_view word) {
    unsigned int value = 0;
    const bool isBinary = word.size() == 8;
    if (!isBinary && word.size() != 2) {
        return std::nullopt;
    }
    for (const char c : word) {
        const int digit = hexDigit(c);
        if (digit < 0 || (isBinary && digit > 1)) {
            return std::nullopt;
        }
        value = value << (isBinary ? 1U : 4U) | static_cast<unsigned int>(digit);
    }
    return static_cast<std::uint8_t>(value);
}

/// The bytes of a plain line: exactly as many as were announced, texts behind them are dropped.
bool readPrintedBytes(std::string_view text, std::size_t size, Frame& frame) {
    skipBlanks(text);
    const bool isReversed = text.substr(0, size * 3).find('`') != std::string_view::npos;
    for (std::size_t i = 0; i < size; ++i) {
        skipBlanks(text);
        const std::string_view word = text.substr(0, text.find_first_of(" \t`"));
        const auto byte = readByte(word);
        if (!byte) {
            return false;
        }
        frame.data[i] = *byte;
        text.remove_prefix(std::min(word.size() + 1, text.size()));
    }
    frame.size = static_cast<std::uint8_t>(size);
    if (isReversed) {
        std::reverse(frame.data.begin(), frame.data.begin() + frame.size);
    }
    return true;
}

/// "RX B E" of candump -x; the letters' places hold '-' where a flag is off.
void takeFlags(std::string_view& text, Frame& frame) {
    std::string_view rest = text;
    const std::string_view direction = takeWord(rest);
    if (direction != "RX" && direction != "TX") {
        frame.isFastDataKnown = false;
        return;
    }
    frame.hasFastData = takeWord(rest) == "B";
    frame.isErrorPassive = takeWord(rest) == "E";
    text = rest;
}

/// "123   [2]  01 02" and its like
CandumpLine::Kind readPrinted(std::string_view text, Frame& frame) {
    takeFlags(text, frame);
    const std::string_view id = takeWord(text);
    const std::string_view length = takeWord(text);
    const bool isRaw = length.starts_with('{') && length.ends_with('}');
    if (!isRaw && !(length.starts_with('[') && length.ends_with(']'))) {
        return CandumpLine::Kind::Wrong;
    }
    const std::string_view digits = length.substr(1, length.size() - 2);
    const auto size = isRaw && digits.size() == 1 && hexDigit(digits[0]) >= 0
                          ? std::optional<std::uint64_t>(hexDigit(digits[0]))
                          : wholeNumber(digits);
    if (digits.size() == 4) {
        return CandumpLine::Kind::Long;
    }
    if (!size || !readId(id, frame) || *size > Frame::kMostBytes) {
        return CandumpLine::Kind::Wrong;
    }
    frame.isFd = digits.size() == 2;
    const std::size_t most = frame.isFd ? Frame::kMostBytes : 8;
    std::string_view rest = text;
    if (takeWord(rest) == "remote") {
        frame.kind = Frame::Kind::Remote;
        frame.size = static_cast<std::uint8_t>(std::min<std::uint64_t>(*size, 8));
        return CandumpLine::Kind::Frame;
    }
    frame.isFastDataKnown = frame.isFastDataKnown || !frame.isFd;
    return readPrintedBytes(text, std::min<std::size_t>(static_cast<std::size_t>(*size), most),
                            frame)
               ? CandumpLine::Kind::Frame
               : CandumpLine::Kind::Wrong;
}

void removeColours(std::string& line) {
    for (std::size_t at = line.find('\x1B'); at != std::string::npos; at = line.find('\x1B', at)) {
        line.erase(at, std::min(line.find('m', at), line.size() - 1) + 1 - at);
    }
}

bool isInterface(std::string_view word) {
    return !word.empty() && word.size() <= kLongestInterface &&
           word.find_first_of("#[]{}/") == std::string_view::npos;
}

}  // namespace

CandumpLine readCandumpLine(std::string& line) {
    removeColours(line);
    CandumpLine read;
    std::string_view text = line;
    while (!text.empty() && (text.back() == '\r' || text.back() == ' ')) {
        text.remove_suffix(1);
    }
    // Lines that explain an error frame begin with a tabulator; a full buffer is told of as well.
    if (text.empty() || text.front() == '\t' || text.starts_with("DROPCOUNT")) {
        read.kind = CandumpLine::Kind::Skipped;
        return read;
    }
    skipBlanks(text);
    if (text.starts_with('(')) {
        const std::size_t end = text.find(')');
        const auto time =
            end == std::string_view::npos ? std::nullopt : timeOf(text.substr(1, end - 1));
        if (!time) {
            return read;
        }
        read.hasTime = true;
        read.frame.time = *time;
        text.remove_prefix(end + 1);
    }
    read.interface = takeWord(text);
    skipBlanks(text);
    if (!isInterface(read.interface) || text.empty()) {
        return read;
    }
    const std::string_view next = text.substr(0, text.find_first_of(" \t"));
    const bool isCompact = next.find('#') != std::string_view::npos;
    read.kind = isCompact ? readCompact(next, read.frame) : readPrinted(text, read.frame);
    return read;
}

}  // namespace desk::can
