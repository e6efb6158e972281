#include "host/apache/handshake.h"

#include <algorithm>
#include <string_view>

#include "host/apache/origin_check.h"
#include "host/protocol/token_list.h"

extern "C" {
#include <apr_base64.h>
#include <apr_sha1.h>
}

namespace websocket {

namespace {

constexpr std::string_view kVersion = "13";
constexpr std::string_view kGuid = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
/// 16 bytes in base64: 22 characters and two to fill up.
constexpr std::size_t kKeyLength = 24;
constexpr std::size_t kKeyCharacters = 22;

/// A header of the request; several of one name have been joined by the server, with commas.
std::string_view header(const request_rec* request, const char* name) {
    const char* value = apr_table_get(request->headers_in, name);
    return value == nullptr ? std::string_view{} : value;
}

bool isBase64(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/';
}

bool isKey(std::string_view key) {
    return key.size() == kKeyLength && key.substr(kKeyCharacters) == "==" &&
           std::all_of(key.begin(), key.begin() + kKeyCharacters, isBase64);
}

std::string acceptFor(std::string_view key) {
    apr_sha1_ctx_t context;
    apr_sha1_init(&context);
    for (const std::string_view part : {key, kGuid}) {
        apr_sha1_update(&context, part.data(), static_cast<unsigned>(part.size()));
    }
    unsigned char digest[APR_SHA1_DIGESTSIZE];
    apr_sha1_final(digest, &context);
    // The encoder counts and writes the terminating zero as well.
    std::string accept(static_cast<std::size_t>(apr_base64_encode_len(APR_SHA1_DIGESTSIZE)), '\0');
    apr_base64_encode_binary(accept.data(), digest, APR_SHA1_DIGESTSIZE);
    accept.pop_back();
    return accept;
}

bool hasBody(const request_rec* request) {
    const std::string_view length = header(request, "Content-Length");
    return !header(request, "Transfer-Encoding").empty() ||
           length.find_first_not_of('0') != std::string_view::npos;
}

int refuse(const request_rec* request, int status, const char* reason) {
    ap_log_rerror(APLOG_MARK, APLOG_INFO, 0, request, "WS201: websocket handshake refused: %s",
                  reason);
    return status;
}

/// 426 has to name what to change to.
int refuseUpgrade(request_rec* request, const char* reason) {
    apr_table_setn(request->err_headers_out, "Upgrade", "websocket");
    apr_table_setn(request->err_headers_out, "Connection", "Upgrade");
    apr_table_setn(request->err_headers_out, "Sec-WebSocket-Version", kVersion.data());
    // The server's own text for this status speaks of TLS.
    ap_custom_response(request, HTTP_UPGRADE_REQUIRED,
                       "This address serves websockets (version 13).");
    return refuse(request, HTTP_UPGRADE_REQUIRED, reason);
}

int checkRequest(request_rec* request) {
    if (request->main != nullptr) {
        return refuse(request, HTTP_BAD_REQUEST, "a part of another answer cannot be a websocket");
    }
    if (request->method_number != M_GET || request->header_only) {
        ap_allow_standard_methods(request, REPLACE_ALLOW, M_GET, -1);
        return refuse(request, HTTP_METHOD_NOT_ALLOWED, "the method is not GET");
    }
    if (request->proto_num != HTTP_VERSION(1, 1)) {
        return refuse(request, HTTP_BAD_REQUEST, "the protocol is not HTTP/1.1");
    }
    if (!listHas(header(request, "Upgrade"), "websocket")) {
        return refuseUpgrade(request, "no \"Upgrade: websocket\"");
    }
    if (!listHas(header(request, "Connection"), "upgrade")) {
        return refuse(request, HTTP_BAD_REQUEST, "no \"Connection: Upgrade\"");
    }
    if (header(request, "Host").empty()) {
        return refuse(request, HTTP_BAD_REQUEST, "no Host");
    }
    if (hasBody(request)) {
        return refuse(request, HTTP_BAD_REQUEST, "the request has a body");
    }
    if (header(request, "Sec-WebSocket-Version") != kVersion) {
        return refuseUpgrade(request, "Sec-WebSocket-Version is not 13");
    }
    if (!isKey(header(request, "Sec-WebSocket-Key"))) {
        return refuse(request, HTTP_BAD_REQUEST, "Sec-WebSocket-Key is not one key of 16 bytes");
    }
    return OK;
}

bool belongsToHandshake(std::string_view name) {
    constexpr std::string_view kNames[] = {"Upgrade",      "Connection",       "Content-Length",
                                           "Content-Type", "Content-Encoding", "Transfer-Encoding",
                                           "Trailer",      "Keep-Alive"};
    constexpr std::string_view kPrefix = "Sec-WebSocket-";
    return equalIgnoringCase(name.substr(0, kPrefix.size()), kPrefix) ||
           std::any_of(std::begin(kNames), std::end(kNames),
                       [&](std::string_view n) { return equalIgnoringCase(n, name); });
}

int appendHeader(void* answer, const char* name, const char* value) {
    if (!belongsToHandshake(name)) {
        static_cast<std::string*>(answer)->append(name).append(": ").append(value).append("\r\n");
    }
    return 1;
}

}  // namespace

int checkHandshake(request_rec* request, const Directives& directives, Handshake& handshake) {
    const int status = checkRequest(request);
    if (status != OK) {
        return status;
    }
    if (!originAllowed(request, directives)) {
        ap_log_rerror(
            APLOG_MARK, APLOG_NOTICE, 0, request,
            "WS202: websocket handshake refused: pages of the origin \"%s\" may not connect",
            ap_escape_logitem(request->pool, apr_table_get(request->headers_in, "Origin")));
        return HTTP_FORBIDDEN;
    }
    for (const std::string_view offered : splitList(header(request, "Sec-WebSocket-Protocol"))) {
        if (!isToken(offered)) {
            return refuse(request, HTTP_BAD_REQUEST, "an ill-formed sub-protocol");
        }
        handshake.protocols.emplace_back(offered);
    }
    handshake.accept = acceptFor(header(request, "Sec-WebSocket-Key"));
    return OK;
}

std::string handshakeAnswer(const request_rec* request, const Handshake& handshake,
                            const std::string& protocol) {
    std::string answer =
        "HTTP/1.1 101 Switching Protocols\r\n"
        "Upgrade: websocket\r\n"
        "Connection: Upgrade\r\n"
        "Sec-WebSocket-Accept: ";
    answer += handshake.accept + "\r\n";
    if (!protocol.empty()) {
        answer += "Sec-WebSocket-Protocol: " + protocol + "\r\n";
    }
    apr_table_do(appendHeader, &answer, request->headers_out, nullptr);
    apr_table_do(appendHeader, &answer, request->err_headers_out, nullptr);
    return answer + "\r\n";
}

bool mayBeSet(const std::string& name, const std::string& value) {
    return isToken(name) && !belongsToHandshake(name) &&
           std::none_of(value.begin(), value.end(), [](char c) {
               const auto byte = static_cast<unsigned char>(c);
               return (byte < 0x20 && c != '\t') || byte == 0x7F;
           });
}

}  // namespace websocket
