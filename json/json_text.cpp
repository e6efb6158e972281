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

using JsonBuffer = rapidjson::StringBuffer;

/// The library's pretty writer, which would pass ill-formed bytes on and stop at a number that JSON
/// has no form for.
class BrowserWriter : public rapidjson::PrettyWriter<JsonBuffer> {
    using Base = rapidjson::PrettyWriter<JsonBuffer>;

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
        if (isUtf8(bytes)) {
            return Base::String(text, length, copy);
        }
        return Base::String(replaceIllFormedUtf8(bytes));
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
    BrowserWriter writer(buffer);
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
