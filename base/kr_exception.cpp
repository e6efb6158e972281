#include "base/kr_exception.h"

KRException::KRException(const KRException& other)
    : std::basic_ios<char>(),
      std::exception(other),
      std::basic_ostringstream<char>(),
      message_(other.what()) {}

KRException& KRException::operator=(const KRException& other) {
    if (this != &other) {
        message_ = other.what();
        str("");
    }
    return *this;
}

const char* KRException::what() const noexcept {
    try {
        whole_ = message_ + str();
        return whole_.c_str();
    } catch (...) {
        return message_.c_str();
    }
}
