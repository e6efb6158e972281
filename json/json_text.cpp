#include "json/json_text.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "base/log.h"
#include "base/utf8.h"

namespace {

using JsonBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, ThrowingAllocator>;

/// Takes text and only counts it. What is too long ends in a `TooLong`.
class CountingStream {
  public:
    using Ch = char;
    struct TooLong {};

    explicit CountingStream(std::size_t limit) : left_(limit) {}

    void Put(char) {
        if (left_ == 0) {
            throw TooLong{};
        }
        --left_;
    }
    void Flush() {}

  private:
    std::size_t left_;
};

/// The library's pretty writer, which would pass ill-formed bytes on and stop at a number that JSON
/// has no form for.
template <class Stream>
class BrowserWriter : public rapidjson::PrettyWriter<Stream, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                                     ThrowingAllocator> {
    using Base =
        rapidjson::PrettyWriter<Stream, rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator>;

  public:
    using Base::Base;

    bool Double(double number) {
        if (std::isfinite(number)) {
            return Base::Double(number);
        }
        return Base::String(std::isnan(number) ? "NaN" : number > 0 ? "Infinity" : "-Infinity");
    }

    bool String(const char* text, rapidjson::SizeType length, bool copy = false) {
        const std::string_view bytes(text, length);
        if (base::isUtf8(bytes)) {
            return Base::String(text, length, copy);
        }
        return Base::String(base::replaceIllFormedUtf8(bytes));
    }

    bool Key(const char* text, rapidjson::SizeType length, bool copy = false) {
        return String(text, length, copy);
    }
};

void logFailure(std::string_view what, const JsonBuffer& buffer) {
    std::string text(what);
    text.append(buffer.GetString(), buffer.GetSize());
    LogUtil::log(LogLevel::Error, "dom_to_json", text);
}

}  // namespace

char* dom_to_json(const Document* doc) {
    JsonBuffer buffer;
    BrowserWriter<JsonBuffer> writer(buffer);
    if (doc == nullptr || !doc->Accept(writer)) {
        logFailure("failed to write webapp buffer: ", buffer);
        return nullptr;
    }
    if (buffer.GetSize() == 0) {
        logFailure("empty buffer: ", buffer);
        return nullptr;
    }
    auto* text = static_cast<char*>(std::malloc(buffer.GetSize() + 1));
    if (text == nullptr) {
        logFailure("failed to write webapp buffer: ", buffer);
        return nullptr;
    }
    std::memcpy(text, buffer.GetString(), buffer.GetSize() + 1);
    return text;
}

std::string dom_to_string(const Document* doc) {
    const std::unique_ptr<char, decltype(&std::free)> text(dom_to_json(doc), &std::free);
    std::string result = text ? text.get() : "";
    LogUtil::log(LogLevel::Debug, "dom_to_string", "json_str: " + result);
    return result;
}

bool isLongerThan(const Document& doc, std::size_t limit) {
    CountingStream counted(limit);
    BrowserWriter<CountingStream> writer(counted);
    try {
        doc.Accept(writer);
        return false;
    } catch (const CountingStream::TooLong&) {
        return true;
    }
}
