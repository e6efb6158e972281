// From a text frame to the document of a request.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "base/log.h"
#include "json/json_text.h"
#include "json/simple_response.h"
#include "plugin/diagnostics.h"
#include "plugin/kr_websocket.h"
#include "plugin/parse_error.h"

namespace {

/// Deeper than any request needs to be. The parser and the writer call themselves for every level,
/// and where a request is quoted each of its lines is indented by its depth.
constexpr int kDeepestNesting = 32;

/// A request is quoted in answers and in the log, each value on a line of its own. It may always be
/// that long, and beyond that so many times its frame.
constexpr std::size_t kQuotedLimit = 1024 * 1024;
constexpr std::size_t kQuotedGrowth = 16;
/// Too short to be quoted with more than the limit: no line is longer than its indentation and a
/// number, and each takes a byte of the frame at least.
constexpr std::size_t kHarmlessFrame = 4096;

/// Whether the arrays and objects of a JSON text lie deeper in each other than we go.
bool nestsTooDeep(const char* text) {
    int depth = 0;
    bool inString = false;
    for (; *text != '\0'; ++text) {
        if (inString) {
            if (*text == '\\' && text[1] != '\0') {
                ++text;
            } else if (*text == '"') {
                inString = false;
            }
            continue;
        }
        switch (*text) {
            case '"':
                inString = true;
                break;
            case '[':
            case '{':
                if (++depth > kDeepestNesting) {
                    return true;
                }
                break;
            case ']':
            case '}':
                --depth;
                break;
            default:
                break;
        }
    }
    return false;
}

bool isQuotedTooLong(const Document& doc, std::size_t frameSize) {
    return frameSize > kHarmlessFrame &&
           isLongerThan(doc, std::max(kQuotedLimit, kQuotedGrowth * frameSize));
}

/// A zero-terminated copy of the frame that lives as long as the document: its strings stay in it.
char* copyFrame(const unsigned char* data, unsigned size, Document& doc) {
    auto* copy = static_cast<char*>(doc.GetAllocator().Malloc(std::size_t{size} + 1));
    std::memcpy(copy, data, size);
    copy[size] = '\0';
    return copy;
}

int refuse(const std::string& logged, const std::string& reason) {
    LogUtil::log(LogLevel::Error, "wa_setup_document", logged);
    createAndSendJSON_simple("undef_cmd", KR_STATE_ERROR, KR_ERROR_INVALID_COMMAND, reason);
    return 1;
}

int refuseUnparsed(const std::string& reason) {
    return refuse("failed to parse webapp buffer: " + reason, reason);
}

}  // namespace

int KrWebsocket::wa_setup_document(const unsigned char* data, unsigned size, Document* doc) {
    print_buffer(data, static_cast<int>(size));
    if (data == nullptr || size == 0) {
        return refuseUnparsed("no data received");
    }
    char* text = copyFrame(data, size, *doc);
    if (std::strcmp(text, "undefined") == 0) {
        return refuseUnparsed("\"undefined\" received");
    }
    if (std::strcmp(text, "{}") == 0) {
        // Refused although it is an object: it can carry no command.
        return refuseUnparsed("{} received");
    }
    if (nestsTooDeep(text)) {
        return refuseUnparsed("arrays and objects are nested deeper than " +
                              std::to_string(kDeepestNesting) + " levels");
    }
    doc->ParseInsitu(text);
    if (doc->HasParseError()) {
        const std::string_view frame(reinterpret_cast<const char*>(data), size);
        return refuseUnparsed(std::string(klv::parseErrorText(doc->GetParseError())) +
                              " At Position: " + std::to_string(doc->GetErrorOffset()) + ". (" +
                              std::string(frame) + ")");
    }
    if (!doc->IsObject()) {
        const std::string_view frame(reinterpret_cast<const char*>(data), size);
        const std::string reason =
            "failed to parse webapp buffer, no object available. (" + std::string(frame) + ")";
        return refuse(reason, reason);  // fixed text: no further prefix in the log
    }
    if (isQuotedTooLong(*doc, size)) {
        return refuseUnparsed("written out with a line for each value the request is longer than " +
                              std::to_string(kQuotedLimit) + " bytes and " +
                              std::to_string(kQuotedGrowth) + " times its frame");
    }
    return 0;
}
