// The websocket module: what Apache calls, and in which order a websocket is served.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <memory>
#include <string_view>

#include "host/apache/apache_transport.h"
#include "host/apache/confinement.h"
#include "host/apache/connection.h"
#include "host/apache/directives.h"
#include "host/apache/handshake.h"
#include "host/apache/module.h"
#include "host/apache/places.h"
#include "host/apache/server_record.h"
#include "host/apache/termination_signals.h"

namespace {

using websocket::ApacheTransport;
using websocket::Connection;
using websocket::Handshake;
using websocket::Place;
using websocket::Places;
using websocket::TerminationSignals;

constexpr std::string_view kHandlerName = "websocket-handler";

/// What a thread of a plug-in may still hold when its connection has ended. A process of its own
/// ends soon after, so the record is kept until then and a late call into it finds a dead
/// connection.
std::unique_ptr<Connection>& lastConnection() {
    static auto* last = new std::unique_ptr<Connection>;
    return *last;
}

int serve(request_rec* request, const websocket::Directives& directives, Handshake handshake,
          TerminationSignals& signals) {
    auto connection =
        std::make_unique<Connection>(request, directives, std::move(handshake), signals);
    const int status = connection->run();
    if (TerminationSignals::processIsOurs()) {
        lastConnection() = std::move(connection);
    }
    return status;
}

/// After a websocket nothing of HTTP follows on the connection: what the server still sends through
/// the request's filters must not become an HTTP answer.
void leaveHttp(request_rec* request) {
    conn_rec* connection = request->connection;
    request->output_filters = connection->output_filters;
    request->proto_output_filters = connection->output_filters;
    request->input_filters = connection->input_filters;
    request->proto_input_filters = connection->input_filters;
}

/// Where the number of websockets is limited, each has to find a place.
bool takePlace(request_rec* request, const websocket::Directives& directives, Place& place) {
    const websocket::ConnectionLimits& limits = directives.connections;
    if (limits.inAll <= 0 && limits.perAddress <= 0) {
        return true;
    }
    place = Places::take(request->useragent_ip,
                         static_cast<std::uint32_t>(std::max<apr_int64_t>(limits.inAll, 0)),
                         static_cast<std::uint32_t>(std::max<apr_int64_t>(limits.perAddress, 0)));
    if (!place.taken()) {
        ap_log_rerror(APLOG_MARK, APLOG_NOTICE, 0, request,
                      "WS204: websocket handshake refused: there are as many websockets as "
                      "WebSocketMaxConnections allows");
    }
    return place.taken();
}

/// Ends the process however its websocket came out, also where it failed for want of memory or
/// threads: what the process may do is now what a session needs, and the plug-in may have had its
/// one session in it. The next request gets a fresh one.
class Retirement {
  public:
    explicit Retirement(TerminationSignals& signals) : signals_(signals) {}
    ~Retirement() {
        signals_.retireProcess();
        signals_.release();
    }
    Retirement(const Retirement&) = delete;
    Retirement& operator=(const Retirement&) = delete;

  private:
    TerminationSignals& signals_;
};

int handle(request_rec* request) {
    const websocket::Directives& directives = websocket::directivesOf(request);
    // Whatever becomes of it: nothing follows on this connection.
    request->connection->keepalive = AP_CONN_CLOSE;
    if (directives.plugin == nullptr) {
        ap_log_rerror(APLOG_MARK, APLOG_ERR, 0, request,
                      "WS001: websocket-handler is set here but no WebSocketHandler is given");
        return HTTP_INTERNAL_SERVER_ERROR;
    }
    Handshake handshake;
    int status = websocket::checkHandshake(request, directives, handshake);
    if (status != OK) {
        return status;
    }
    Place place;
    if (!takePlace(request, directives, place)) {
        return HTTP_SERVICE_UNAVAILABLE;
    }
    TerminationSignals signals;
    const Retirement retirement(signals);
    status = websocket::confineProcess(request, directives)
                 ? serve(request, directives, std::move(handshake), signals)
                 : HTTP_INTERNAL_SERVER_ERROR;
    if (status == OK) {
        leaveHttp(request);
    }
    if (signals.taken()) {
        // The server would wait for the peer to close as well; there is no time for that.
        request->connection->aborted = 1;
    }
    return status;
}

extern "C" int websocketHandler(request_rec* request) {
    if (request->handler == nullptr || kHandlerName != request->handler) {
        return DECLINED;
    }
    try {
        return handle(request);
    } catch (const std::exception& e) {
        ap_log_rerror(APLOG_MARK, APLOG_ERR, 0, request, "WS002: websocket not served: %s",
                      e.what());
        return HTTP_INTERNAL_SERVER_ERROR;
    }
}

extern "C" int prepareServer(apr_pool_t* pool, apr_pool_t*, apr_pool_t*, server_rec* server) {
    if (ap_state_query(AP_SQ_MAIN_STATE) == AP_SQ_MS_CREATE_PRE_CONFIG) {
        return OK;  // the configuration is only being tried
    }
    if (!Places::make(pool)) {
        ap_log_error(APLOG_MARK, APLOG_CRIT, APR_FROM_OS_ERROR(errno), server,
                     "WS003: websockets cannot be counted");
        return HTTP_INTERNAL_SERVER_ERROR;
    }
    websocket::tellWhatKernelLacks(server);
    return OK;
}

extern "C" void registerHooks(apr_pool_t*) {
    ApacheTransport::registerFilter();
    websocket::registerOptionalFunctions();
    ap_hook_post_config(prepareServer, nullptr, nullptr, APR_HOOK_MIDDLE);
    ap_hook_handler(websocketHandler, nullptr, nullptr, APR_HOOK_MIDDLE);
}

}  // namespace

extern "C" {

module websocket_module = {
    STANDARD20_MODULE_STUFF,
    websocket::websocketCreateDirectives,
    websocket::websocketMergeDirectives,
    nullptr,
    nullptr,
    websocket::kDirectives,
    registerHooks,
    AP_MODULE_FLAG_NONE,
};
}
