#include "host/apache/plugin_calls.h"

#include <cstddef>
#include <exception>

namespace websocket {

namespace {

/// Runs `call`; what it throws is told to `report` as text.
template <typename Call, typename Report>
void guarded(const Call& call, const Report& report) {
    try {
        call();
    } catch (const std::exception& e) {
        report(e.what());
    } catch (...) {
        report("an exception of unknown type");
    }
}

}  // namespace

WebSocketPlugin* callInit(WebSocketPluginInit init, apr_pool_t* pool, const char*& thrown) {
    WebSocketPlugin* plugin = nullptr;
    guarded([&] { plugin = init(); }, [&](const char* what) { thrown = apr_pstrdup(pool, what); });
    return plugin;
}

void callDestroy(WebSocketPlugin* plugin) {
    if (plugin->destroy == nullptr) {
        return;
    }
    guarded([&] { plugin->destroy(plugin); },
            [](const char* what) {
                ap_log_error(APLOG_MARK, APLOG_ERR, 0, nullptr,
                             "WS101: a websocket plug-in's destroy threw: %s", what);
            });
}

void* callConnect(const WebSocketPlugin& plugin, const WebSocketServer& server,
                  const request_rec* request) {
    void* session = nullptr;
    guarded(
        [&] {
            session = plugin.on_connect(&server);
            if (session == nullptr) {
                ap_log_rerror(APLOG_MARK, APLOG_WARNING, 0, request,
                              "WS102: the websocket plug-in refused the connection");
            }
        },
        [&](const char* what) {
            ap_log_rerror(APLOG_MARK, APLOG_ERR, 0, request,
                          "WS103: the websocket plug-in's on_connect threw: %s", what);
        });
    return session;
}

void callMessage(const WebSocketPlugin& plugin, void* session, const WebSocketServer& server,
                 int type, unsigned char* buffer, std::size_t size, const request_rec* request) {
    guarded([&] { plugin.on_message(session, &server, type, buffer, size); },
            [&](const char* what) {
                ap_log_rerror(APLOG_MARK, APLOG_ERR, 0, request,
                              "WS104: the websocket plug-in's on_message threw: %s", what);
            });
}

void callDisconnect(const WebSocketPlugin& plugin, void* session, const WebSocketServer& server,
                    const request_rec* request) {
    if (plugin.on_disconnect == nullptr) {
        return;
    }
    guarded([&] { plugin.on_disconnect(session, &server); },
            [&](const char* what) {
                ap_log_rerror(APLOG_MARK, APLOG_ERR, 0, request,
                              "WS105: the websocket plug-in's on_disconnect threw: %s", what);
            });
}

}  // namespace websocket
