#include "host/apache/origin_check.h"

#include <string>

#include "host/protocol/origin.h"

extern "C" {
#include <http_vhost.h>
}

namespace websocket {

namespace {

/// The address of an IPv6 host without its brackets, any other host as it is.
std::string bareHost(const std::string& host) {
    return host.front() == '[' ? host.substr(1, host.size() - 2) : host;
}

/// Whether the server goes by this name: one of its configuration, or the address that this
/// connection was made to. A page may have any name of its owner's lead here, and browsers then
/// take it for a page of this server; so what the client calls the server proves nothing by itself.
bool isNameOfServer(request_rec* request, const std::string& host) {
    const std::string name = bareHost(host);
    // The port has been held against the page's own.
    return ap_matches_request_vhost(request, name.c_str(), request->server->port) != 0 ||
           name == request->connection->local_ip;
}

bool isSame(request_rec* request, const Origin& origin) {
    const char* host = apr_table_get(request->headers_in, "Host");
    if (host == nullptr || originOfRequest(ap_http_scheme(request), host) != origin) {
        return false;
    }
    if (isNameOfServer(request, origin.host)) {
        return true;
    }
    ap_log_rerror(APLOG_MARK, APLOG_NOTICE, 0, request,
                  "WS203: the server does not go by the name \"%s\"; ServerName and ServerAlias "
                  "tell its names",
                  ap_escape_logitem(request->pool, origin.host.c_str()));
    return false;
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

bool originAllowed(request_rec* request, const Directives& directives) {
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
