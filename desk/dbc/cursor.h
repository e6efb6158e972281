// Walking through the text of a database, token by token.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace dbc {

/// Something else stands in the text than what has to.
class Unexpected : public std::runtime_error {
  public:
    Unexpected(std::size_t line, const std::string& text) : std::runtime_error(text), line_(line) {}

    std::size_t line() const { return line_; }

  private:
    std::size_t line_;
};

/// A place in a text. What reads a token skips blanks in front of it, line breaks and comments ("//
/// ...") included unless it says otherwise, and throws Unexpected where there is no such token.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : text_(text) {}

    bool atEnd() const { return at_ == text_.size(); }
    /// The line that the next character is in, from 1.
    std::size_t line() const { return line_; }

    /// The line that what was read last ends in.
    std::size_t lastLine() const;

    void skipBlanks();
    void skipBlanksInLine();
    /// Goes to the first character of the next line.
    void skipLine();
    /// Goes to the next line that begins with the keyword of a section; to this one, where nothing
    /// but blanks are in front of the cursor and a keyword is behind it.
    void skipToSection();

    /// The next character in this line that is no blank; a line break at the line's end.
    char peekInLine();
    /// Whether the next character in this line was that one; then it is taken.
    bool skipInLine(char c);
    /// Whether the next character was that one, wherever it stands; then it is taken.
    bool skip(char c);
    void expectInLine(char c);

    /// Whether a keyword stands at the beginning of a line next.
    bool atSection();
    /// What stands at the beginning of a line where a keyword should: up to a blank, ':', ';' or a
    /// quote.
    std::string_view keyword();
    /// Gives back the last `count` characters, all of the current line.
    void goBack(std::size_t count) { at_ -= count; }
    /// A name, number or the like: up to a blank or one of : ; , " | @ ( ) [ ]. May be empty.
    std::string_view wordInLine();
    std::string_view name(const char* what);
    /// Everything up to the character, which is not taken; nothing when this line has none.
    std::optional<std::string_view> upTo(char c);
    std::string_view restOfLine();

    std::uint64_t unsignedNumber(const char* what);
    /// The same, in this line only.
    std::uint64_t unsignedInLine(const char* what);
    /// Anything that numbers are made of, in this line.
    std::string_view numberInLine(const char* what);

    bool atString();
    /// A text in quotes; it may go over lines, and \" in it stands for a quote.
    std::string string(const char* what);
    /// A text in quotes that ends in this line.
    std::string stringInLine(const char* what);

    [[noreturn]] void expected(const std::string& what);

  private:
    void take() {
        line_ += text_[at_] == '\n' ? 1U : 0U;
        ++at_;
    }
    bool isLineStart() const;
    std::string found() const;

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t line_ = 1;
};

/// Whether a section of a database begins with that word.
bool isKeyword(std::string_view word);

}  // namespace dbc
