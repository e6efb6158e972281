#include "desk/dbc/message_lines.h"

#include <charconv>
#include <limits>
#include <utility>

namespace dbc {

namespace {

constexpr std::uint32_t kExtendedFlag = 0x80000000U;
constexpr std::uint32_t kExtendedMask = 0x1FFFFFFFU;
constexpr std::uint32_t kStandardMask = 0x7FFU;
/// The name under which files keep the signals that belong to no message.
constexpr std::string_view kNoMessage = "VECTOR__INDEPENDENT_SIG_MSG";

std::vector<std::string_view> wordsOf(std::string_view text) {
    std::vector<std::string_view> words;
    for (std::size_t at = text.find_first_not_of(" \t"); at != std::string_view::npos;
         at = text.find_first_not_of(" \t", at)) {
        const std::size_t end = std::min(text.find_first_of(" \t", at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

std::string joined(const std::vector<std::string_view>& words) {
    std::string name;
    for (const std::string_view word : words) {
        name += (name.empty() ? "" : "_") + std::string(word);
    }
    return name;
}

/// What stands in front of the colon; where there is none, the next word.
std::vector<std::string_view> wordsBeforeColon(Cursor& cursor, Draft& draft, const char* what) {
    const std::size_t line = cursor.line();
    if (const auto text = cursor.upTo(':')) {
        auto words = wordsOf(*text);
        if (words.empty()) {
            cursor.expected(what);
        }
        cursor.expectInLine(':');
        return words;
    }
    const std::string_view word = cursor.wordInLine();
    if (word.empty()) {
        cursor.expected(what);
    }
    draft.remark(line, "there is no ':' behind " + std::string(word));
    return {word};
}

void setId(std::uint32_t fileId, std::size_t line, Draft& draft, Message& message) {
    message.id = fileId & kExtendedMask;
    message.isExtended = (fileId & kExtendedFlag) != 0;
    if (!message.isExtended && fileId > kStandardMask) {
        draft.remark(line, "the id " + std::to_string(fileId) + " of " + message.name +
                               " is taken for an extended one, although bit 31 is not set");
        message.isExtended = true;
    }
}

bool isUnsigned(std::string_view text, std::uint64_t& number) {
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stopped == text.data() + text.size();
}

/// "M", "m4", "m4M" or the "m" of damaged files; false for anything else.
bool readMultiplexing(std::string_view word, SignalDraft& draft) {
    if (word == "M") {
        draft.signal.isSwitch = true;
        return true;
    }
    if (!word.starts_with('m')) {
        return false;
    }
    word.remove_prefix(1);
    if (word.ends_with('M')) {
        draft.signal.isSwitch = true;
        word.remove_suffix(1);
    }
    std::uint64_t number = 0;
    draft.isBareMultiplexed = word.empty();
    if (!draft.isBareMultiplexed && !isUnsigned(word, number)) {
        draft.signal.isSwitch = false;
        return false;
    }
    if (!draft.isBareMultiplexed) {
        draft.selectedBy = number;
    }
    return true;
}

void readName(Cursor& cursor, Draft& draft, SignalDraft& signal) {
    std::vector<std::string_view> words = wordsBeforeColon(cursor, draft, "the name of a signal");
    if (words.size() > 1 && readMultiplexing(words.back(), signal)) {
        words.pop_back();
    }
    signal.signal.name = joined(words);
    if (words.size() > 1) {
        draft.remark(signal.line,
                     "blanks in the name of a signal, which is taken for " + signal.signal.name);
    }
}

std::uint32_t smallNumber(Cursor& cursor, const char* what) {
    const std::uint64_t number = cursor.unsignedInLine(what);
    if (number > std::numeric_limits<std::uint16_t>::max()) {
        throw Unexpected(cursor.line(),
                         "expected " + std::string(what) + ", found " + std::to_string(number));
    }
    return static_cast<std::uint32_t>(number);
}

/// "start|length@order sign"
void readPlace(Cursor& cursor, Draft& draft, Signal& signal) {
    signal.start = smallNumber(cursor, "the start bit of a signal");
    cursor.expectInLine('|');
    signal.length = smallNumber(cursor, "the length of a signal in bits");
    cursor.expectInLine('@');
    if (cursor.skipInLine('0')) {
        signal.order = ByteOrder::Motorola;
    } else if (!cursor.skipInLine('1')) {
        cursor.expected("the byte order 0 or 1");
    }
    if (cursor.skipInLine('-')) {
        signal.kind = ValueKind::Signed;
    } else if (!cursor.skipInLine('+')) {
        draft.remark(cursor.line(),
                     signal.name + " has no sign '+' or '-' and is taken for unsigned");
    }
}

/// "(factor,offset) [min|max] "unit""; the range limits nothing, since values outside of it are
/// common.
void readScaling(Cursor& cursor, Signal& signal) {
    cursor.expectInLine('(');
    const std::string_view factor = cursor.numberInLine("the factor of a signal");
    cursor.expectInLine(',');
    const std::string_view offset = cursor.numberInLine("the offset of a signal");
    cursor.expectInLine(')');
    signal.scaling = Scaling(factor, offset);
    if (cursor.skipInLine('[')) {
        if (!cursor.upTo(']')) {
            cursor.expected("the end ']' of a range");
        }
        cursor.expectInLine(']');
    }
    if (cursor.peekInLine() == '"') {
        signal.unit = cursor.stringInLine("the unit of a signal");
    }
}

/// The receivers, up to the end of the line or the next signal.
void skipReceivers(Cursor& cursor) {
    while (cursor.peekInLine() != '\n') {
        const std::string_view word = cursor.wordInLine();
        if (word == "SG_" || word == "BO_") {
            cursor.goBack(word.size());
            return;
        }
        if (word.empty()) {
            cursor.skipInLine(cursor.peekInLine());
        }
    }
}

}  // namespace

std::optional<std::size_t> readMessage(Cursor& cursor, Draft& draft) {
    const std::size_t line = cursor.line();
    const std::uint64_t fileId = cursor.unsignedInLine("the id of a message");
    const std::vector<std::string_view> words =
        wordsBeforeColon(cursor, draft, "the name of a message");
    if (words.front() == kNoMessage) {
        skipReceivers(cursor);
        return std::nullopt;
    }
    if (fileId > std::numeric_limits<std::uint32_t>::max()) {
        throw Unexpected(line, "expected an id of 32 bits, found " + std::to_string(fileId));
    }
    MessageDraft message;
    message.fileId = static_cast<std::uint32_t>(fileId);
    message.message.name = joined(words);
    if (words.size() > 1) {
        draft.remark(line,
                     "blanks in the name of a message, which is taken for " + message.message.name);
    }
    message.message.size = smallNumber(cursor, "the size of a message in bytes");
    setId(message.fileId, line, draft, message.message);
    skipReceivers(cursor);  // the sender
    if (!draft.byFileId.emplace(message.fileId, draft.messages.size()).second) {
        draft.remark(line, "a second message has the id " + std::to_string(fileId) + ": " +
                               message.message.name);
    }
    draft.messages.push_back(std::move(message));
    return draft.messages.size() - 1;
}

void readSignal(Cursor& cursor, Draft& draft, std::size_t message) {
    SignalDraft signal;
    signal.line = cursor.line();
    readName(cursor, draft, signal);
    readPlace(cursor, draft, signal.signal);
    readScaling(cursor, signal.signal);
    skipReceivers(cursor);
    draft.messages[message].signals.push_back(std::move(signal));
}

}  // namespace dbc
