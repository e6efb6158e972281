#include "desk/dbc/cursor.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace dbc {

namespace {

constexpr std::array<std::string_view, 35> kKeywords = {
    "BA_",          "BA_DEF_",      "BA_DEF_DEF_",     "BA_DEF_DEF_REL_", "BA_DEF_REL_",
    "BA_DEF_SGTYPE_", "BA_REL_",    "BA_SGTYPE_",      "BO_",             "BO_TX_BU_",
    "BS_",          "BU_",          "BU_BO_REL_",      "BU_EV_REL_",      "BU_SG_REL_",
    "CAT_",         "CAT_DEF_",     "CM_",             "ENVVAR_DATA_",    "EV_",
    "EV_DATA_",     "FILTER",       "NS_",             "NS_DESC_",        "SG_",
    "SGTYPE_",      "SGTYPE_VAL_",  "SG_MUL_VAL_",     "SIGTYPE_VALTYPE_", "SIG_GROUP_",
    "SIG_TYPE_REF_", "SIG_VALTYPE_", "VAL_",           "VAL_TABLE_",      "VERSION"};

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

bool endsWord(char c) {
    return isBlank(c) || c == '\n' || std::string_view(":;,\"|@()[]").find(c) != std::string_view::npos;
}

bool endsKeyword(char c) {
    return isBlank(c) || c == '\n' || c == ':' || c == ';' || c == '"';
}

bool isOfNumber(char c) {
    return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'e' || c == 'E';
}

std::string unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '"';
        plain += text[i += isEscape ? 1U : 0U];
    }
    return plain;
}

std::optional<std::uint64_t> toUnsigned(std::string_view text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end ? std::optional(number) : std::nullopt;
}

}  // namespace

bool isKeyword(std::string_view word) {
    return std::find(kKeywords.begin(), kKeywords.end(), word) != kKeywords.end();
}

std::size_t Cursor::lastLine() const {
    std::size_t line = line_;
    for (std::size_t i = at_; i > 0 && (isBlank(text_[i - 1]) || text_[i - 1] == '\n'); --i) {
        line -= text_[i - 1] == '\n' ? 1U : 0U;
    }
    return line;
}

void Cursor::skipBlanksInLine() {
    while (!atEnd() && isBlank(text_[at_])) {
        ++at_;
    }
}

void Cursor::skipBlanks() {
    for (;;) {
        skipBlanksInLine();
        if (!atEnd() && text_[at_] == '\n') {
            take();
        } else if (text_.substr(at_).starts_with("//")) {
            skipLine();
        } else {
            return;
        }
    }
}

void Cursor::skipLine() {
    const std::size_t end = text_.find('\n', at_);
    line_ += end == std::string_view::npos ? 0U : 1U;
    at_ = end == std::string_view::npos ? text_.size() : end + 1;
}

bool Cursor::isLineStart() const {
    std::size_t before = at_;
    while (before > 0 && isBlank(text_[before - 1])) {
        --before;
    }
    return before == 0 || text_[before - 1] == '\n';
}

bool Cursor::atSection() {
    skipBlanks();
    if (atEnd() || !isLineStart()) {
        return false;
    }
    std::size_t end = at_;
    while (end < text_.size() && !endsKeyword(text_[end])) {
        ++end;
    }
    return isKeyword(text_.substr(at_, end - at_));
}

void Cursor::skipToSection() {
    skipBlanksInLine();
    while (!atEnd() && !atSection()) {
        skipLine();
        skipBlanksInLine();
    }
}

char Cursor::peekInLine() {
    skipBlanksInLine();
    return atEnd() ? '\n' : text_[at_];
}

bool Cursor::skipInLine(char c) {
    if (peekInLine() != c || c == '\n') {
        return false;
    }
    ++at_;
    return true;
}

bool Cursor::skip(char c) {
    skipBlanks();
    return skipInLine(c);
}

void Cursor::expectInLine(char c) {
    if (!skipInLine(c)) {
        expected(std::string("'") + c + "'");
    }
}

std::string_view Cursor::keyword() {
    skipBlanks();
    const std::size_t begin = at_;
    while (!atEnd() && !endsKeyword(text_[at_])) {
        ++at_;
    }
    return text_.substr(begin, at_ - begin);
}

std::string_view Cursor::wordInLine() {
    skipBlanksInLine();
    const std::size_t begin = at_;
    while (!atEnd() && !endsWord(text_[at_])) {
        ++at_;
    }
    return text_.substr(begin, at_ - begin);
}

std::string_view Cursor::name(const char* what) {
    skipBlanks();
    const std::string_view word = wordInLine();
    if (word.empty()) {
        expected(what);
    }
    return word;
}

std::optional<std::string_view> Cursor::upTo(char c) {
    skipBlanksInLine();
    const std::size_t end = text_.find_first_of(std::string{c, '\n'}, at_);
    if (end == std::string_view::npos || text_[end] != c) {
        return std::nullopt;
    }
    const std::string_view found = text_.substr(at_, end - at_);
    at_ = end;
    return found;
}

std::string_view Cursor::restOfLine() {
    const std::size_t end = std::min(text_.find('\n', at_), text_.size());
    const std::string_view rest = text_.substr(at_, end - at_);
    at_ = end;
    return rest;
}

std::uint64_t Cursor::unsignedNumber(const char* what) {
    skipBlanks();
    return unsignedInLine(what);
}

std::uint64_t Cursor::unsignedInLine(const char* what) {
    skipBlanksInLine();
    const std::size_t begin = at_;
    const auto number = toUnsigned(wordInLine());
    if (!number) {
        at_ = begin;
        expected(what);
    }
    return *number;
}

std::string_view Cursor::numberInLine(const char* what) {
    skipBlanksInLine();
    const std::size_t begin = at_;
    while (!atEnd() && isOfNumber(text_[at_])) {
        ++at_;
    }
    if (begin == at_) {
        expected(what);
    }
    return text_.substr(begin, at_ - begin);
}

bool Cursor::atString() {
    skipBlanks();
    return !atEnd() && text_[at_] == '"';
}

std::string Cursor::string(const char* what) {
    if (!atString()) {
        expected(what);
    }
    const std::size_t begin = at_;
    const std::size_t beginLine = line_;
    std::string text;
    for (take(); !atEnd() && text_[at_] != '"'; take()) {
        if (text_[at_] == '\\' && at_ + 1 < text_.size() && text_[at_ + 1] == '"') {
            take();
        }
        if (text_[at_] != '\r') {
            text += text_[at_];
        }
    }
    if (atEnd()) {
        at_ = begin;
        line_ = beginLine;
        throw Unexpected(line_, std::string(what) + " has no closing quote");
    }
    take();
    return text;
}

std::string Cursor::stringInLine(const char* what) {
    if (peekInLine() != '"') {
        expected(what);
    }
    const std::size_t begin = ++at_;
    const std::string_view line = text_.substr(at_, text_.find('\n', at_) - at_);
    std::size_t end = line.find('"');
    // An escaped quote is one only where another one closes the text.
    while (end != std::string_view::npos && end > 0 && line[end - 1] == '\\' &&
           line.find('"', end + 1) != std::string_view::npos) {
        end = line.find('"', end + 1);
    }
    if (end == std::string_view::npos) {
        throw Unexpected(line_, std::string(what) + " has no closing quote in its line");
    }
    at_ = begin + end + 1;
    return unescaped(line.substr(0, end));
}

std::string Cursor::found() const {
    static constexpr std::size_t kMost = 24;
    const std::string_view rest = text_.substr(at_, text_.find('\n', at_) - at_);
    if (rest.empty() || rest == "\r") {
        return atEnd() ? "the end of the file" : "the end of the line";
    }
    std::size_t size = std::min(rest.size(), kMost);
    while (size > 1 && size < rest.size() && (static_cast<unsigned char>(rest[size]) & 0xC0U) == 0x80U) {
        --size;  // not in the middle of a character
    }
    std::string text(rest.substr(0, size));
    while (!text.empty() && isBlank(text.back())) {
        text.pop_back();
    }
    return "\"" + text + (size < rest.size() ? "...\"" : "\"");
}

void Cursor::expected(const std::string& what) {
    throw Unexpected(line_, "expected " + what + ", found " + found());
}

}  // namespace dbc
