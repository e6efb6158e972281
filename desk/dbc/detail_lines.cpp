#include "desk/dbc/detail_lines.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace dbc {

namespace {

/// The end of a section. Where it is missing the next section, or the next thing, shows it as well.
void readEnd(Cursor& cursor, Draft& draft, const char* section) {
    const std::size_t line = cursor.lastLine();
    if (!cursor.skip(';')) {
        draft.remark(line, std::string("there is no ';' at the end of ") + section);
    }
}

/// Names the signal when it is not there.
SignalDraft* findSignal(Draft& draft, std::uint64_t id, std::string_view name, std::size_t line,
                        const char* section) {
    MessageDraft* const message = draft.find(id);
    if (message == nullptr) {
        draft.remark(line, std::string(section) + " of the unknown message " + std::to_string(id));
        return nullptr;
    }
    SignalDraft* const signal = message->find(name);
    if (signal == nullptr) {
        draft.remark(line, std::string(section) + " of the unknown signal " +
                               message->message.name + "." + std::string(name));
    }
    return signal;
}

bool isNumberStart(char c) {
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.';
}

/// Keys are whole numbers, even where they are written as "1.0". Those above the signed ones keep
/// their bits.
std::int64_t keyOf(std::string_view text, Cursor& cursor) {
    std::int64_t key = 0;
    std::uint64_t large = 0;
    const char* const begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* const end = text.data() + text.size();
    if (const auto whole = std::from_chars(begin, end, key);
        whole.ec == std::errc() && whole.ptr == end) {
        return key;
    }
    if (const auto whole = std::from_chars(begin, end, large);
        whole.ec == std::errc() && whole.ptr == end) {
        return static_cast<std::int64_t>(large);
    }
    double number = 0.0;
    const auto result = std::from_chars(begin, end, number);
    if (result.ec != std::errc() || result.ptr != end || !(std::abs(number) < 9e18)) {
        cursor.expected("a value that has a text");
    }
    return static_cast<std::int64_t>(number);
}

/// Pairs of a number and a text, up to what is neither.
std::vector<ValueText> readTexts(Cursor& cursor) {
    std::vector<ValueText> texts;
    cursor.skipBlanks();
    while (isNumberStart(cursor.peekInLine())) {
        const std::int64_t key = keyOf(cursor.numberInLine("a value that has a text"), cursor);
        texts.emplace_back(key, cursor.string("the text of a value"));
        cursor.skipBlanks();
    }
    return texts;
}

void skipToEnd(Cursor& cursor, Draft& draft, const char* section) {
    while (!cursor.atEnd() && !cursor.atSection()) {
        if (cursor.skip(';')) {
            return;
        }
        if (cursor.atString()) {
            cursor.string("a text");
        } else if (cursor.wordInLine().empty()) {
            cursor.skip(cursor.peekInLine());
        }
    }
    draft.remark(cursor.lastLine(), std::string("there is no ';' at the end of ") + section);
}

/// What an attribute belongs to; message 0 is none.
struct AttributeOwner {
    std::string_view kind;  // "BO_", "SG_", "BU_", "EV_", or empty: the whole database
    std::uint64_t message = 0;
    std::string_view signal;
};

AttributeOwner readOwner(Cursor& cursor) {
    AttributeOwner owner;
    cursor.skipBlanks();
    const std::string_view word = cursor.wordInLine();
    if (word == "BO_" || word == "SG_" || word == "BU_" || word == "EV_") {
        owner.kind = word;
    } else {
        cursor.goBack(word.size());
        return owner;
    }
    if (word == "BO_" || word == "SG_") {
        owner.message = cursor.unsignedNumber("the id of a message");
    }
    if (word != "BO_") {
        owner.signal = cursor.name("what an attribute belongs to");
    }
    return owner;
}

std::string readAttributeValue(Cursor& cursor) {
    if (cursor.atString()) {
        return cursor.string("the value of an attribute");
    }
    return std::string(cursor.name("the value of an attribute"));
}

/// An enumerated value may be given by its place.
std::string namedValue(const Draft& draft, const std::string& attribute, std::string value) {
    const auto names = draft.enumerations.find(attribute);
    std::size_t place = 0;
    const char* const end = value.data() + value.size();
    const auto [stopped, error] = std::from_chars(value.data(), end, place);
    if (names == draft.enumerations.end() || error != std::errc() || stopped != end ||
        place >= names->second.size()) {
        return value;
    }
    return names->second[place];
}

/// The frame format of a message: what a number means that has no names is usual.
bool isJ1939Format(const std::string& value) {
    return value == "J1939PG" || value == "3";
}

bool isFrameFormat(const std::string& attribute) {
    return attribute == "VFrameFormat";
}

void setAttribute(Draft& draft, const std::string& name, const AttributeOwner& owner,
                  const std::string& value) {
    if (owner.kind.empty() && name == "ProtocolType") {
        draft.isJ1939 = value.empty() ? draft.isJ1939 : value == "J1939";
        return;
    }
    MessageDraft* const message = owner.message == 0 && owner.kind != "BO_" && owner.kind != "SG_"
                                      ? nullptr
                                      : draft.find(owner.message);
    if (message == nullptr) {
        return;
    }
    if (owner.kind == "BO_" && isFrameFormat(name)) {
        message->isJ1939 = isJ1939Format(value);
    } else if (owner.kind == "BO_" && name == "SystemMessageLongSymbol") {
        message->longName = value;
    } else if (owner.kind == "SG_" && name == "SystemSignalLongSymbol") {
        if (SignalDraft* const signal = message->find(owner.signal)) {
            signal->longName = value;
        }
    }
}

}  // namespace

void readValueTable(Cursor& cursor, Draft& draft) {
    const std::string_view name = cursor.name("the name of a value table");
    draft.tables[std::string(name)] = readTexts(cursor);
    readEnd(cursor, draft, "VAL_TABLE_");
}

void readValueTexts(Cursor& cursor, Draft& draft) {
    cursor.skipBlanks();
    if (cursor.peekInLine() < '0' || cursor.peekInLine() > '9') {
        skipToEnd(cursor, draft, "VAL_");  // those of an environment variable
        return;
    }
    const std::size_t line = cursor.line();
    const std::uint64_t id = cursor.unsignedNumber("the id of a message");
    const std::string_view name = cursor.name("the name of a signal");
    SignalDraft* const signal = findSignal(draft, id, name, line, "VAL_");
    std::vector<ValueText> texts = readTexts(cursor);
    if (texts.empty() && !cursor.atSection()) {
        const auto table = draft.tables.find(cursor.wordInLine());
        texts = table == draft.tables.end() ? texts : table->second;
    }
    readEnd(cursor, draft, "VAL_");
    if (signal != nullptr) {
        signal->texts = std::move(texts);
    }
}

void readValueType(Cursor& cursor, Draft& draft) {
    const std::size_t line = cursor.line();
    const std::uint64_t id = cursor.unsignedNumber("the id of a message");
    const std::string_view name = cursor.name("the name of a signal");
    cursor.skip(':');
    const std::uint64_t type = cursor.unsignedNumber("the kind of a signal's values");
    if (SignalDraft* const signal = findSignal(draft, id, name, line, "SIG_VALTYPE_")) {
        signal->valueType = type;
    }
    readEnd(cursor, draft, "SIG_VALTYPE_");
}

void readExtendedMultiplexing(Cursor& cursor, Draft& draft) {
    const std::size_t line = cursor.line();
    const std::uint64_t id = cursor.unsignedNumber("the id of a message");
    const std::string_view name = cursor.name("the name of a signal");
    const std::string_view switchName = cursor.name("the name of a switch");
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    cursor.skipBlanks();
    while (isNumberStart(cursor.peekInLine())) {
        // "3-7" is two numbers, and so is "3 - 7".
        std::string range(cursor.numberInLine("the values of a switch"));
        while (isNumberStart(cursor.peekInLine())) {
            range += cursor.numberInLine("the values of a switch");
        }
        const char* const end = range.data() + range.size();
        std::uint64_t from = 0;
        std::uint64_t to = 0;
        const auto first = std::from_chars(range.data(), end, from);
        to = from;
        const bool isRange = first.ec == std::errc() && first.ptr != end && *first.ptr == '-';
        const auto last = isRange ? std::from_chars(first.ptr + 1, end, to) : first;
        if (last.ec != std::errc() || last.ptr != end) {
            cursor.expected("the values of a switch like 3-7");
        }
        ranges.emplace_back(from, to);
        cursor.skip(',');
        cursor.skipBlanks();
    }
    if (SignalDraft* const signal = findSignal(draft, id, name, line, "SG_MUL_VAL_")) {
        signal->switchName = switchName;
        signal->ranges.insert(signal->ranges.end(), ranges.begin(), ranges.end());
    }
    readEnd(cursor, draft, "SG_MUL_VAL_");
}

/// Comments are read so that what they hold is taken for nothing else.
void readComment(Cursor& cursor, Draft& draft) {
    while (!cursor.atString()) {
        if (cursor.atEnd() || cursor.atSection() || cursor.wordInLine().empty()) {
            cursor.expected("the text of a comment");
        }
    }
    cursor.string("a comment");
    readEnd(cursor, draft, "CM_");
}

void readAttributeDefinition(Cursor& cursor, Draft& draft) {
    cursor.skipBlanks();
    cursor.wordInLine();  // what it belongs to
    const std::string name = cursor.string("the name of an attribute");
    cursor.skipBlanks();
    if (cursor.wordInLine() == "ENUM") {
        std::vector<std::string>& names = draft.enumerations[name];
        names.clear();
        do {
            if (!cursor.atString()) {
                break;
            }
            names.push_back(cursor.string("a value of an attribute"));
        } while (cursor.skip(','));
    }
    skipToEnd(cursor, draft, "BA_DEF_");
}

void readAttributeDefault(Cursor& cursor, Draft& draft) {
    const std::string name = cursor.string("the name of an attribute");
    const std::string value = namedValue(draft, name, readAttributeValue(cursor));
    if ((isFrameFormat(name) && isJ1939Format(value)) ||
        (name == "ProtocolType" && value == "J1939")) {
        draft.isJ1939 = true;
    }
    readEnd(cursor, draft, "BA_DEF_DEF_");
}

void readAttribute(Cursor& cursor, Draft& draft) {
    const std::string name = cursor.string("the name of an attribute");
    const AttributeOwner owner = readOwner(cursor);
    setAttribute(draft, name, owner, namedValue(draft, name, readAttributeValue(cursor)));
    readEnd(cursor, draft, "BA_");
}

}  // namespace dbc
