#include "host/apache/origin_check.h"

#include "host/protocol/origin.h"

namespace websocket {

namespace {

bool isSame(const request_rec* request, const Origin& origin) {
    const char* host = apr_table_get(request->headers_in, "Host");
    return host != nullptr && originOfRequest(ap_http_scheme(request), host) == origin;
}

bool isTrusted(const Directives& directives, const Origin& origin) {
    const apr_array_header_t* trusted = directives.trustedOrigins;
    for (int i = 0; trusted != nullptr && i < trusted->nelts; ++i) {
        if (parseOrigin(APR_ARRAY_IDX(trusted, i, const char*)) == origin) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool originAllowed(const request_rec* request, const Directives& directives) {
    const char* named = apr_table_get(request->headers_in, "Origin");
    if (named == nullptr || directives.originCheck == OriginCheck::Off) {
        return true;
    }
    const std::optional<Origin> origin = parseOrigin(named);
    if (!origin) {
        return false;
    }
    return directives.originCheck == OriginCheck::Trusted ? isTrusted(directives, *origin)
                                                          : isSame(request, *origin);
}

}  // namespace websocket
