// The exception that set-up code throws: its text is streamed into it.
#pragma once

#include <exception>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

/// throw KRException("[ERROR] cannot do it"), or build one, stream more into it and throw that.
/// Copies take the text along, as a thrown object needs.
class KRException : public std::exception, public std::basic_ostringstream<char> {
  public:
    KRException() = default;
    explicit KRException(std::string text) : message_(std::move(text)) {}
    KRException(const KRException& other);
    KRException& operator=(const KRException& other);
    ~KRException() override = default;

    /// The text given to the constructor, followed by what was streamed in. Valid until the next
    /// call or until more is streamed in.
    const char* what() const noexcept override;

  private:
    std::string message_;
    mutable std::string whole_;
};
